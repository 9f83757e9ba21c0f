#include "common/requests/server_statistics.h"

#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 256;

constexpr ReplyList kStatistics = {{tag::serverStatistics}, tag::parm, kNotFound, kRange};

} // namespace

char* BuildServerStatisticsRequest(int version, uint32_t* length) {
    XmlDocument document = start_document(kRequestRoom);
    WriteOpenGroup(document, tag::zrpConsoleRequest);
    WriteOpenGroup(document, tag::serverStatistics);
    WriteIntElement(document, tag::versionTag, version);
    WriteCloseGroup(document, tag::serverStatistics);
    WriteCloseGroup(document, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int ScanServerStatisticsReply(char* reply, int replyLength, int* offset, char** element,
                              int* elementLength) {
    if (offset == nullptr || element == nullptr || elementLength == nullptr) {
        return kInvalid;
    }
    XmlElement found;
    const int rc = next_item(kStatistics, reply, replyLength, offset, &found);
    if (rc == kOk) {
        *element = found.contentStart;
        *elementLength = static_cast<int>(found.contentLength);
    }
    return rc;
}

int QueryServerStatistics(int version, StatisticsCallback callback, const RequestHooks* hooks,
                          void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildServerStatisticsRequest(version, &length));
    Reply reply;
    int rc = send_checked_query(kDefaultPeer, std::move(request), length, hooks, &reply);
    if (rc != kOk) {
        return rc;
    }
    int offset = 0;
    char* element = nullptr;
    int elementLength = 0;
    while (rc == kOk && ScanServerStatisticsReply(reply.text.get(), reply.length, &offset, &element,
                                                  &elementLength) == kOk) {
        rc = callback(context, element, elementLength);
    }
    return rc;
}

} // namespace zrp
