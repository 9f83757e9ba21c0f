#include "common/requests/connection_information.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/reply_fields.h"
#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 512;

constexpr ReplyList kConnections = {{tag::zrpConsoleReply, tag::connectionInformationTag},
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

// The contents of a `connectionTag`. An item of a list may hold elements with the names of the
// connection's own, so these are looked for outside the lists only.
struct ConnectionParts {
    XmlElement openFiles; // without content when missing
    XmlElement securityEquals;
    XmlElement outside[3]; // before, between and behind the lists; only their contents count
};

XmlElement content_between(char* start, char* end) {
    XmlElement part;
    part.contentStart = start;
    part.contentEnd = std::max(start, end) - 1;
    return part;
}

ConnectionParts split_connection(const XmlElement& connection) {
    ConnectionParts parts;
    find_inside(connection, tag::openFiles, &parts.openFiles);
    find_inside(connection, tag::securityEquals, &parts.securityEquals);
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

int read_outside(const ConnectionParts& parts, const ReplyField* fields, size_t count,
                 void* record) {
    for (size_t i = 0; i < count; i++) {
        const bool found = std::any_of(
            std::begin(parts.outside), std::end(parts.outside),
            [&](const XmlElement& part) { return read_field(fields[i], part, record) == kOk; });
        if (!found) {
            return kInvalid;
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
    char* end = list.contentEnd + 1;
    char* to = text.get();
    uint32_t count = 0;
    XmlElement name;
    for (char* at = list.contentStart; FindElement(tag::name, at, end, &name) == kOk;
         at = name.elementEnd + 1) {
        const size_t room = name.contentLength + size_t{1};
        copy_cut(to, room, name.contentStart, name.contentLength);
        to += room;
        count++;
    }
    if (count != 0) {
        *names = {text.release(), count};
    }
    return kOk;
}

int read_connection(const XmlElement& connection, ConnectionInformation* record) {
    const ConnectionParts parts = split_connection(connection);
    int rc =
        read_outside(parts, kConnectionEntryFields, kConnectionEntryFieldCount, &record->entry);
    if (rc == kOk) {
        rc = read_outside(parts, kInformationFields, std::size(kInformationFields), record);
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

} // namespace

void FreeConnectionInformation::operator()(ConnectionInformation* record) const {
    free(record->openFiles.names);
    free(record->securityEquals.names);
    free(record);
}

char* BuildConnectionInformationRequest(int station, int versionTag, uint32_t* length) {
    XmlDocument document = start_document(kRequestRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::connectionInformationTag);
    WriteOpenGroup(document, tag::connectionTag);
    WriteIntElement(document, tag::versionTag, versionTag);
    WriteIntElement(document, tag::stationNumberTag, station);
    WriteCloseGroup(document, tag::connectionTag);
    WriteTrailer(document, tag::connectionInformationTag, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int ScanConnectionInformationReply(char* reply, int replyLength, ConnectionInformationPtr* record) {
    if (record == nullptr) {
        return kInvalid;
    }
    int offset = 0;
    XmlElement connection;
    int rc = next_item(kConnections, reply, replyLength, &offset, &connection);
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
    int rc = send_query(kDefaultPeer, std::move(request), length, &traceHooks, &reply);
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

} // namespace zrp
