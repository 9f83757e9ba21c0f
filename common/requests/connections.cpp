#include "common/requests/connections.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/exchange_state.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kConnectionRoom = 512;

constexpr RequestField kListConnectionsRequest[] = {
    {tag::startIndex, RequestField::kCount},
    {tag::maxItems, RequestField::kCount},
};
constexpr Command kListConnections = {tag::listConnections, nullptr, kListConnectionsRequest};

constexpr ReplyField kEntryFields[] = {
    ZRP_FIELD(tag::stationNumberTag, kDecimal, ConnectionEntry, stationNumber),
    ZRP_FIELD(tag::zrpRequests, kNumber32, ConnectionEntry, zrpRequests),
    ZRP_FIELD(tag::bytesRead, kNumber64, ConnectionEntry, bytesRead),
    ZRP_FIELD(tag::bytesWritten, kNumber64, ConnectionEntry, bytesWritten),
    ZRP_FIELD(tag::name, kText, ConnectionEntry, name),
    ZRP_FIELD(tag::loginTime, kText, ConnectionEntry, loginTime),
    ZRP_FIELD(tag::licensedState, kText, ConnectionEntry, licensedState),
    ZRP_FIELD(tag::encrypted, kText, ConnectionEntry, encrypted),
    ZRP_FIELD(tag::mfa, kText, ConnectionEntry, mfa),
};

constexpr ReplyList kEntries = {
    {tag::zrpConsoleReply, tag::listConnections}, tag::connectionTag, kEntryFields};

// The reply holds one.
constexpr ReplyList kInformation = {{tag::zrpConsoleReply, tag::connectionInformationTag},
                                    tag::connectionTag};

constexpr ReplyField kInformationFields[] = {
    ZRP_FIELD(tag::loginEpoch, kNumber64, ConnectionInformation, loginEpoch),
    ZRP_FIELD(tag::networkAddress, kText, ConnectionInformation, networkAddress),
    ZRP_FIELD(tag::status, kNumber32, ConnectionInformation, status),
    ZRP_FIELD(tag::privileges, kNumber32, ConnectionInformation, privileges),
    ZRP_FIELD(tag::authenticationMethod, kDecimal, ConnectionInformation, authenticationMethod),
    ZRP_FIELD(tag::connectionType, kDecimal, ConnectionInformation, connectionType),
};

constexpr ReplyField kCountFields[] = {
    ZRP_FIELD(tag::openFilesCount, kDecimal, ConnectionInformation, openFilesCount),
    ZRP_FIELD(tag::secEqualsCount, kDecimal, ConnectionInformation, securityEqualsCount),
};

#define ZRP_SLOT_FIELD(name) ZRP_FIELD(tag::name, kNumber32, ServerConnInfo, name)

constexpr ReplyField kSlotFields[] = {
    ZRP_SLOT_FIELD(versionTag),           ZRP_SLOT_FIELD(connectionSlotsAvailable),
    ZRP_SLOT_FIELD(connectionSlotsInUse), ZRP_SLOT_FIELD(licensedConnectionCount),
    ZRP_SLOT_FIELD(peakLicenseCount),     ZRP_SLOT_FIELD(notLoggedInCount),
    ZRP_SLOT_FIELD(signingLevel),         ZRP_SLOT_FIELD(loginState),
};

#undef ZRP_SLOT_FIELD

constexpr Command kSlots = {tag::serverConnInfo, nullptr, {}, kSlotFields};

// The contents of a `connectionTag`. An item of a list may hold elements with the names of the
// connection's own, so these are looked for outside the lists only.
struct ConnectionParts {
    XmlElement openFiles; // without content when missing
    XmlElement securityEquals;
    XmlElement outside[3]; // before, between and after the lists; only their contents count
};

XmlElement content_between(char* start, char* end) {
    XmlElement part;
    part.contentStart = start;
    part.contentEnd = std::max(start, end) - 1;
    return part;
}

// The lists may be missing.
ConnectionParts split_connection(const XmlElement& connection) {
    ConnectionParts parts;
    (void)find_inside(connection, tag::openFiles, &parts.openFiles);
    (void)find_inside(connection, tag::securityEquals, &parts.securityEquals);
    const XmlElement* first = &parts.openFiles;
    const XmlElement* second = &parts.securityEquals;
    if (second->tagEnd < first->tagEnd) {
        std::swap(first, second);
    }
    char* start = connection.contentStart;
    XmlElement* part = parts.outside;
    for (const XmlElement* list : {first, second}) {
        if (list->tagEnd != nullptr) {
            *part++ = content_between(start, list->tagEnd);
            start = std::max(start, list->elementEnd + 1);
        }
    }
    *part = content_between(start, connection.contentEnd + 1);
    return parts;
}

int read_outside(const ConnectionParts& parts, std::span<const ReplyField> fields, void* record) {
    int rc = kOk;
    for (const ReplyField& field : fields) {
        for (const XmlElement& part : parts.outside) {
            rc = read_field(field, part, record);
            if (rc != kInvalid) {
                break;
            }
        }
        if (rc != kOk) {
            return rc;
        }
    }
    return kOk;
}

int read_names(const XmlElement& list, NameList* names) {
    if (list.contentLength == 0) {
        return kOk;
    }
    // A name's tags take more room than its terminator.
    HeapText text(static_cast<char*>(malloc(list.contentLength)));
    if (text == nullptr) {
        return kNoMemory;
    }
    constexpr ReplyList kNames = {{}, tag::name};
    const auto length = static_cast<int>(list.contentLength);
    char* to = text.get();
    uint32_t count = 0;
    int offset = 0;
    int rc = kOk;
    XmlElement name;
    while ((rc = next_item(kNames, list.contentStart, length, &offset, &name)) == kOk) {
        const size_t room = name.contentLength + size_t{1};
        copy_cut(to, room, name.contentStart, name.contentLength);
        to += room;
        count++;
    }
    if (failure_of(rc, kOk) != kOk) {
        return rc;
    }
    if (count != 0) {
        *names = {text.release(), count};
    }
    return kOk;
}

int read_connection(const XmlElement& connection, ConnectionInformation* record) {
    const ConnectionParts parts = split_connection(connection);
    int rc = read_outside(parts, kEntryFields, &record->entry);
    if (rc == kOk) {
        rc = read_outside(parts, kInformationFields, record);
    }
    if (rc == kOk) {
        rc = read_fields(kCountFields, connection, record);
    }
    if (rc == kOk) {
        rc = read_names(parts.openFiles, &record->openFiles);
    }
    if (rc == kOk) {
        rc = read_names(parts.securityEquals, &record->securityEquals);
    }
    return rc;
}

int ask_for_entries(int startIndex, std::span<ConnectionEntry> entries, int* count, Reply* reply) {
    if (entries.empty() || count == nullptr) {
        return kInvalid;
    }
    *count = 0;
    uint32_t length = 0;
    HeapText request(
        BuildListConnectionsRequest(startIndex, static_cast<int>(entries.size()), &length));
    return send_query({.peer = kMainDaemon}, std::move(request), length, reply);
}

// Reads as many connections as there are in the reply and fit.
int read_entries(const Reply& reply, std::span<ConnectionEntry> entries, int* count) {
    int offset = 0;
    for (ConnectionEntry& entry : entries) {
        const int rc = ScanListConnectionsReply(reply.text.get(), reply.length, &offset, &entry);
        if (rc != kOk) {
            return end_of_list(kEntries, reply.text.get(), reply.length, offset, rc);
        }
        ++*count;
    }
    return kOk;
}

// Visits the connections from *index on, which becomes the index of the next page.
int visit_connections(int32_t* index, ConnectionCallback callback, const RequestHooks& hooks,
                      void* context) {
    uint32_t length = 0;
    HeapText request(BuildListConnectionsRequest(*index, kConnectionsOfAPage, &length));
    Reply reply;
    int rc = send_query({.hooks = hooks}, std::move(request), length, &reply);
    if (rc != kOk) {
        return rc;
    }
    int32_t last = 0;
    int count = 0;
    rc = visit_records<ConnectionEntry>(
        kEntries, reply,
        [&](int* offset, ConnectionEntry* entry) {
            return ScanListConnectionsReply(reply.text.get(), reply.length, offset, entry);
        },
        [&](const ConnectionEntry& entry) {
            last = entry.stationNumber;
            return callback(context, entry);
        },
        &count);
    if (rc != kOk) {
        return rc;
    }
    const int32_t next = NextConnectionIndex(reply.text.get(), reply.length, count, last);
    if (next != kNoNextConnection && next <= *index) {
        return kRange;
    }
    *index = next;
    return kOk;
}

} // namespace

char* BuildListConnectionsRequest(int startIndex, int maxItems, uint32_t* length) {
    return build_command(kListConnections, {startIndex, maxItems}, length);
}

int ScanListConnectionsReply(char* reply, int replyLength, int* offset, ConnectionEntry* entry) {
    return scan_record(kEntries, reply, replyLength, offset, entry);
}

int QueryConnections(int startIndex, std::span<ConnectionEntry> entries, int* count) {
    Reply reply;
    int rc = ask_for_entries(startIndex, entries, count, &reply);
    if (rc == kOk) {
        rc = check_list(kEntries, reply);
    }
    return rc == kOk ? read_entries(reply, entries, count) : rc;
}

int QueryConnectionPage(int startIndex, std::span<ConnectionEntry> entries, int* count) {
    Reply reply;
    int rc = ask_for_entries(startIndex, entries, count, &reply);
    if (rc == kOk) {
        rc = read_entries(reply, entries, count);
        NoteReplyResult(DaemonId::kMain, rc, nullptr);
        rc = failure_of(rc, kOk);
    }
    return rc;
}

int GetConnections(ConnectionCallback callback, const RequestHooks* hooks, void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    int32_t index = 0;
    int rc = kOk;
    do {
        rc = visit_connections(&index, callback, hooks != nullptr ? *hooks : RequestHooks{},
                               context);
    } while (rc == kOk && index != kNoNextConnection);
    return rc;
}

int32_t NextConnectionIndex(char* reply, int replyLength, int entryCount, int32_t lastStation) {
    uint32_t named = kEndOfList;
    GetStartIndex(reply, replyLength, &named);
    if (named != kEndOfList) {
        return static_cast<int32_t>(named);
    }
    return entryCount < kConnectionsOfAPage || lastStation == INT32_MAX ? kNoNextConnection
                                                                        : lastStation + 1;
}

void FreeConnectionInformation::operator()(ConnectionInformation* record) const {
    free(record->openFiles.names);
    free(record->securityEquals.names);
    free(record);
}

char* BuildConnectionInformationRequest(int station, int versionTag, uint32_t* length) {
    XmlDocument document = StartDocument(kConnectionRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::connectionInformationTag);
    WriteOpenGroup(document, tag::connectionTag);
    WriteIntElement(document, tag::versionTag, versionTag);
    WriteIntElement(document, tag::stationNumberTag, station);
    WriteCloseGroup(document, tag::connectionTag);
    WriteTrailer(document, tag::connectionInformationTag, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanConnectionInformationReply(char* reply, int replyLength, ConnectionInformationPtr* record) {
    if (record == nullptr) {
        return kInvalid;
    }
    int offset = 0;
    XmlElement connection;
    int rc = next_item(kInformation, reply, replyLength, &offset, &connection);
    if (rc != kOk) {
        return rc;
    }
    if (connection.contentStart == nullptr) {
        return kInvalid;
    }
    ConnectionInformationPtr read(
        static_cast<ConnectionInformation*>(calloc(1, sizeof(ConnectionInformation))));
    if (read == nullptr) {
        return kNoMemory;
    }
    rc = read_connection(connection, read.get());
    if (rc == kOk) {
        *record = std::move(read);
    }
    return rc;
}

int GetConnectionInformation(int station, int* versionTag, ConnectionInformationPtr* record) {
    if (versionTag == nullptr || record == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildConnectionInformationRequest(station, *versionTag, &length));
    if (request == nullptr) {
        return kRequestNotBuilt;
    }
    Reply reply;
    int rc =
        send_query({.hooks = traceHooks, .checksReply = false}, std::move(request), length, &reply);
    if (rc != kOk) {
        return rc;
    }
    rc = ScanConnectionInformationReply(reply.text.get(), reply.length, record);
    uint32_t version = 0;
    if (rc == kOk && GetTagInt(tag::versionTag, reply.text.get(), reply.length, &version) == kOk) {
        *versionTag = static_cast<int>(version);
    }
    return rc;
}

char* BuildServerConnInfoRequest(uint32_t* length) {
    return build_command(kSlots, {}, length);
}

int ScanServerConnInfoReply(char* reply, int replyLength, ServerConnInfo* record) {
    return scan_command(kSlots, reply, replyLength, record);
}

int GetServerConnInfo(ServerConnInfo* record, ErrorText* errorText, const LogContext* log) {
    return run_command(kSlots, {}, {errorText, log}, record);
}

} // namespace zrp
