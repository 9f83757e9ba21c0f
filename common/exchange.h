// What the request functions of the transport share. Internal to the library.
#pragma once

#include <cstdint>

#pragma GCC visibility push(hidden)

namespace zrp {

// The step that decided the result of an exchange; callers count and log by it.
enum class ExchangeStage {
    kDone,     // a reply with status 0 arrived
    kAllocate, // no memory for the client object
    kConnect,  // no connection
    kTransfer, // send or receive failed
    kStatus,   // a reply arrived with a status other than 0
    kRefused,  // neither a name nor a default peer, or a negative timeout: nothing was tried
};

struct ExchangeRequest {
    const char* socketName = nullptr;   // null for the default peer
    const int32_t* timeoutMs = nullptr; // null to wait without limit
    uint32_t requestNumber = 0;
    struct {
        uint64_t length;
        const char* text;
    } pieces[2] = {};
};

struct ExchangeOutcome {
    int code = 0;
    ExchangeStage stage = ExchangeStage::kDone;
    int32_t peerProcess = 0; // of the daemon's listener; 0 without a connection
    uint32_t peerUser = 0;
    uint64_t replyLength = 0;
    char* reply = nullptr; // malloc'ed, with kStatus too; the caller frees it
};

// Connects, sends, receives and closes, and counts itself as in flight while it does.
ExchangeOutcome exchange(const ExchangeRequest& request);

} // namespace zrp

#pragma GCC visibility pop
