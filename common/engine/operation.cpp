#include "common/engine/operation.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

// There is one log, so that the hook finds it without an argument.
void dump_to_log(const char* text, uint64_t length) {
    GetLogContext()->operations.LogLDump(text,
                                         length > INT_MAX ? INT_MAX : static_cast<int>(length));
}

} // namespace

RequestHooks log_hooks(const LogContext* log) {
    return log == nullptr ? RequestHooks{} : RequestHooks{dump_to_log, log->operations.LogError};
}

int reason_for_no_document() {
    return errno == kInvalid ? kInvalid : kNoMemory;
}

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
        const int rc = reason_for_no_document();
        if (rc == kNoMemory && log != nullptr) {
            log->operations.LogError("failed to allocate request buffer ENOMEM");
        }
        return rc;
    }
    const RequestHooks hooks = log_hooks(log);
    const int rc = send_query(peer, std::move(document), length, &hooks, reply);
    return rc != kOk ? rc : check_reply(*reply, errorText);
}

int run_operation(HeapText document, uint32_t length, ErrorText* errorText, const LogContext* log,
                  Reply* reply) {
    return run_operation(kDefaultPeer, std::move(document), length, errorText, log, reply);
}

int find_command(char* reply, int length, const char* outer, const char* command,
                 XmlElement* element) {
    XmlElement envelope;
    const bool found = find_in_reply(reply, length, outer, &envelope) == kOk &&
                       find_inside(envelope, command, element) == kOk;
    return found ? kOk : kInvalid;
}

int find_command(char* reply, int length, const char* command, XmlElement* element) {
    return find_command(reply, length, tag::zrpConsoleReply, command, element);
}

} // namespace zrp
