// The walk that every request entry of the transport shares. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(hidden)

namespace zrp {

// Which step gave an exchange its result; callers count and log by it.
enum class ExchangeStage {
    kDone,      // a reply with status 0 arrived
    kAllocate,  // no client object
    kTransfer,  // connect, send or receive failed
    kStatus,    // a reply arrived with a status other than 0
    kNoAddress, // neither a name nor a default peer: nothing was tried
};

struct ExchangeRequest {
    const char* socketName = nullptr;   // null for the default peer
    const int32_t* timeoutMs = nullptr; // null to wait for ever
    uint32_t requestNumber = 0;
    struct {
        uint64_t length;
        const char* text;
    } pieces[2] = {};
};

struct ExchangeOutcome {
    int code = 0;
    ExchangeStage stage = ExchangeStage::kDone;
    uint64_t replyLength = 0;
    char* reply = nullptr; // malloc'ed, also with kStatus; the caller frees it
};

// Connects, sends, receives and closes. Counts itself as in flight meanwhile.
ExchangeOutcome exchange(const ExchangeRequest& request);

} // namespace zrp

#pragma GCC visibility pop
