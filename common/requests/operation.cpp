#include "common/requests/operation.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <climits>

#include "common/requests/reply_list.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

void dump(const LogContext* log, const char* text, uint64_t length) {
    if (log != nullptr) {
        log->operations.LogLDump(text, length > INT_MAX ? INT_MAX : static_cast<int>(length));
    }
}

int report_missing_document(int reason, const LogContext* log) {
    if (reason == kInvalid) {
        return kInvalid;
    }
    if (log != nullptr) {
        log->operations.LogError("failed to allocate request buffer ENOMEM");
    }
    return kNoMemory;
}

} // namespace

int check_volume_name(const char* volumeName, const LogContext* log) {
    if (volumeName == nullptr) {
        return kInvalid;
    }
    if (strlen(volumeName) <= kMaxVolumeName) {
        return kOk;
    }
    if (log != nullptr) {
        log->operations.LogInfo("Supported Volume name max length %d", kMaxVolumeName);
    }
    return kNameTooLong;
}

int run_operation(const Peer& peer, HeapText document, uint32_t length, ErrorText* errorText,
                  const LogContext* log, Reply* reply) {
    if (document == nullptr) {
        return report_missing_document(errno, log);
    }
    dump(log, document.get(), length);
    uint64_t replyLength = 0;
    char* text = nullptr;
    const int rc = IPCServRequestEx(peer.socketName, peer.requestNumber, length, document.get(),
                                    &replyLength, &text);
    HeapText owned(text);
    if (rc != kOk) {
        if (log != nullptr) {
            log->operations.LogError("IPCServRequest rc=%d", rc);
        }
        return rc;
    }
    dump(log, text, replyLength);
    reply->text = std::move(owned);
    reply->length = static_cast<int32_t>(replyLength);
    return CheckForError(static_cast<uint32_t>(replyLength), reply->text.get(), errorText);
}

int run_operation(HeapText document, uint32_t length, ErrorText* errorText, const LogContext* log,
                  Reply* reply) {
    return run_operation(kDefaultPeer, std::move(document), length, errorText, log, reply);
}

int find_command(char* reply, int length, const char* outer, const char* command,
                 XmlElement* element) {
    XmlElement envelope;
    if (reply == nullptr || length <= 0 ||
        FindElement(outer, reply, reply + length, &envelope) != kOk) {
        return kInvalid;
    }
    return find_inside(envelope, command, element) == kOk ? kOk : kInvalid;
}

int find_command(char* reply, int length, const char* command, XmlElement* element) {
    return find_command(reply, length, tag::zrpConsoleReply, command, element);
}

} // namespace zrp
