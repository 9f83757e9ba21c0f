#include "common/engine/query.h"

#include "common/result.h"
#include "common/xml_reader.h"

namespace zrp {

RequestHooks traceHooks;

namespace {

void dump(const RequestHooks* hooks, const char* text, uint64_t length) {
    if (hooks != nullptr && hooks->dump != nullptr) {
        hooks->dump(text, length);
    }
}

} // namespace

int send_query(const Peer& peer, HeapText document, uint32_t length, const RequestHooks* hooks,
               Reply* reply) {
    if (reply == nullptr) {
        return kInvalid;
    }
    if (document == nullptr) {
        return kNoMemory;
    }
    dump(hooks, document.get(), length);
    uint64_t replyLength = 0;
    char* text = nullptr;
    const int rc = peer.timeoutMs != 0
                       ? IPCServRequestTimeout(peer.socketName, peer.requestNumber, length,
                                               document.get(), &replyLength, &text, peer.timeoutMs)
                       : IPCServRequestEx(peer.socketName, peer.requestNumber, length,
                                          document.get(), &replyLength, &text);
    HeapText owned(text);
    if (rc != kOk) {
        if (hooks != nullptr && hooks->log != nullptr) {
            hooks->log("IPCServRequest rc=%d", rc);
        }
        return rc;
    }
    dump(hooks, text, replyLength);
    reply->text = std::move(owned);
    reply->length = static_cast<int32_t>(replyLength);
    return kOk;
}

int check_reply(const Reply& reply, ErrorText* errorText) {
    const uint32_t length = reply.length > 0 ? static_cast<uint32_t>(reply.length) : 0;
    return CheckForError(length, reply.text.get(), errorText);
}

int send_checked_query(const Peer& peer, HeapText document, uint32_t length,
                       const RequestHooks* hooks, Reply* reply) {
    const int rc = send_query(peer, std::move(document), length, hooks, reply);
    return rc != kOk ? rc : check_reply(*reply, nullptr);
}

} // namespace zrp
