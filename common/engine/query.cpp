#include "common/engine/query.h"

#include <cerrno>
#include <climits>
#include <utility>

#include "common/in_flight.h"
#include "common/result.h"

namespace zrp {

RequestHooks traceHooks;

namespace {

// There is one log, so the hook needs no argument to find it.
void dump_to_log(const char* text, uint64_t length) {
    GetLogContext()->operations.LogLDump(text,
                                         length > INT_MAX ? INT_MAX : static_cast<int>(length));
}

void dump(const RequestHooks& hooks, const char* text, uint64_t length) {
    if (hooks.dump != nullptr) {
        hooks.dump(text, length);
    }
}

int report_no_document(const Query& query) {
    if (errno == EINVAL) {
        return kInvalid;
    }
    if (query.logsNoMemory && query.hooks.log != nullptr) {
        query.hooks.log("failed to allocate request buffer ENOMEM");
    }
    return kNoMemory;
}

void report_failed_exchange(const Query& query, int rc) {
    if (query.hooks.log == nullptr) {
        return;
    }
    if (query.operation != nullptr) {
        query.hooks.log("%s: IPCServRequestEx() rc=%d", query.operation, rc);
    } else {
        query.hooks.log("IPCServRequest rc=%d", rc);
    }
}

int exchange_with(const Peer& peer, const HeapText& document, uint32_t length,
                  uint64_t* replyLength, char** text) {
    return peer.timeoutMs != 0
               ? IPCServRequestTimeout(peer.socketName, peer.requestNumber, length, document.get(),
                                       replyLength, text, peer.timeoutMs)
               : IPCServRequestEx(peer.socketName, peer.requestNumber, length, document.get(),
                                  replyLength, text);
}

// For the daemon's state, the words are wanted even if the caller does not want them.
int check_and_note(const Query& query, const Reply& reply) {
    ErrorText words;
    ErrorText& errorText = query.errorText != nullptr ? *query.errorText : words;
    const int rc = check_reply(reply, &errorText);
    if (const auto daemon = daemon_of(query.peer.socketName); daemon) {
        NoteReplyResult(*daemon, rc, errorText);
    }
    return rc;
}

} // namespace

RequestHooks hooks_to(const LogContext* log) {
    return log == nullptr ? RequestHooks{} : RequestHooks{dump_to_log, log->operations.LogError};
}

int send_query(const Query& query, HeapText document, uint32_t length, Reply* reply) {
    if (reply == nullptr) {
        return kInvalid;
    }
    if (document == nullptr) {
        return report_no_document(query);
    }
    dump(query.hooks, document.get(), length);
    uint64_t replyLength = 0;
    char* text = nullptr;
    const int rc = exchange_with(query.peer, document, length, &replyLength, &text);
    HeapText owned(text);
    if (rc != kOk) {
        report_failed_exchange(query, rc);
        return rc;
    }
    if (query.dumpsReply) {
        dump(query.hooks, text, replyLength);
    }
    reply->text = std::move(owned);
    reply->length = static_cast<int32_t>(replyLength);
    const int reported = check_and_note(query, *reply);
    return query.checksReply ? reported : int{kOk};
}

int check_reply(const Reply& reply, ErrorText* errorText) {
    const uint32_t length = reply.length > 0 ? static_cast<uint32_t>(reply.length) : 0;
    return CheckForError(length, reply.text.get(), errorText);
}

} // namespace zrp
