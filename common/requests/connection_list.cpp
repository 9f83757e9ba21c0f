#include "common/requests/connection_list.h"

#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 256;

constexpr ReplyList kConnections = {{tag::zrpConsoleReply, tag::listConnections},
                                    tag::connectionTag};

void write_unless_zero(XmlDocument& document, const char* tag, int value) {
    if (value != 0) {
        WriteIntElement(document, tag, value);
    }
}

} // namespace

const ReplyField kConnectionEntryFields[kConnectionEntryFieldCount] = {
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

char* BuildListConnectionsRequest(int startIndex, int maxItems, uint32_t* length) {
    XmlDocument document = start_document(kRequestRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::listConnections);
    write_unless_zero(document, tag::startIndex, startIndex);
    write_unless_zero(document, tag::maxItems, maxItems);
    WriteTrailer(document, tag::listConnections, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int ScanListConnectionsReply(char* reply, int replyLength, int* offset, ConnectionEntry* entry) {
    if (offset == nullptr || entry == nullptr) {
        return kInvalid;
    }
    XmlElement item;
    int next = *offset;
    int rc = next_item(kConnections, reply, replyLength, &next, &item);
    if (rc != kOk) {
        return rc;
    }
    ConnectionEntry read = {};
    rc = read_fields(kConnectionEntryFields, item, &read);
    if (rc == kOk) {
        *entry = read;
        *offset = next;
    }
    return rc;
}

int QueryConnections(int startIndex, int maxItems, ConnectionEntry* entries, int* count) {
    if (entries == nullptr || count == nullptr) {
        return kInvalid;
    }
    *count = 0;
    uint32_t length = 0;
    HeapText request(BuildListConnectionsRequest(startIndex, maxItems, &length));
    Reply reply;
    const int rc = send_checked_query(kMainDaemon, std::move(request), length, nullptr, &reply);
    if (rc != kOk) {
        return rc;
    }
    int offset = 0;
    while (*count < maxItems && ScanListConnectionsReply(reply.text.get(), reply.length, &offset,
                                                         &entries[*count]) == kOk) {
        ++*count;
    }
    return kOk;
}

} // namespace zrp
