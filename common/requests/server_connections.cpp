#include "common/requests/server_connections.h"

#include <utility>

#include "common/engine/reply_record.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 256;

#define ZRP_SLOT_FIELD(name) ZRP_FIELD(tag::name, kNumber32, ServerConnInfo, name)

constexpr ReplyField kFields[] = {
    ZRP_SLOT_FIELD(versionTag),           ZRP_SLOT_FIELD(connectionSlotsAvailable),
    ZRP_SLOT_FIELD(connectionSlotsInUse), ZRP_SLOT_FIELD(licensedConnectionCount),
    ZRP_SLOT_FIELD(peakLicenseCount),     ZRP_SLOT_FIELD(notLoggedInCount),
    ZRP_SLOT_FIELD(signingLevel),         ZRP_SLOT_FIELD(loginState),
};

#undef ZRP_SLOT_FIELD

} // namespace

char* BuildServerConnInfoRequest(uint32_t* length) {
    XmlDocument document = start_document(kRequestRoom);
    WriteChildless(document, tag::zrpConsoleRequest, tag::serverConnInfo);
    return finish_document(document, length);
}

int ScanServerConnInfoReply(char* reply, int replyLength, ServerConnInfo* record) {
    return scan_record(reply, replyLength, tag::serverConnInfo, kFields, {}, record);
}

int GetServerConnInfo(ServerConnInfo* record, ErrorText* errorText, const LogContext* log) {
    if (record == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildServerConnInfoRequest(&length));
    Reply reply;
    const int rc = run_operation(std::move(request), length, errorText, log, &reply);
    return rc == kOk ? ScanServerConnInfoReply(reply.text.get(), reply.length, record) : rc;
}

} // namespace zrp
