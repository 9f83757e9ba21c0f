// What the request functions of the transport share. Internal to the library.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(hidden)

namespace zrp {

// The step that decided the result of an exchange; callers count and log by it.
enum class ExchangeStage {
    kDone,      // a reply with status 0 arrived
    kAllocate,  // no memory for the client object
    kTransfer,  // connect, send or receive failed
    kStatus,    // a reply arrived with a status other than 0
    kNoAddress, // neither a name nor a default peer: nothing was tried
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
    uint64_t replyLength = 0;
    char* reply = nullptr; // malloc'ed, with kStatus too; the caller frees it
};

// Connects, sends, receives and closes, and counts itself as in flight while it does.
ExchangeOutcome exchange(const ExchangeRequest& request);

// Counts one exchange as in flight for the lifetime of the object.
class InFlight {
public:
    explicit InFlight(std::atomic<uint32_t>& count) : count_(count) {
        count_.fetch_add(1);
    }
    ~InFlight() {
        count_.fetch_sub(1);
    }
    InFlight(const InFlight&) = delete;
    InFlight& operator=(const InFlight&) = delete;

private:
    std::atomic<uint32_t>& count_;
};

// Returns when no exchange is in flight.
void wait_until_idle(const std::atomic<uint32_t>& count);

} // namespace zrp

#pragma GCC visibility pop
