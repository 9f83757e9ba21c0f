// The exchanges that are under way in this process. Internal to the library.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <pthread.h>

#include "exchange_state.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Counts one exchange as in flight for the lifetime of the object, and records in its daemon's
// state (exchange_state.h) what it does. A forked child has no part in the exchanges of its
// parent's other threads: they leave the list and the counts there.
class InFlight {
public:
    explicit InFlight(std::atomic<uint32_t>& count);
    ~InFlight();
    InFlight(const InFlight&) = delete;
    InFlight& operator=(const InFlight&) = delete;

    void set_begun(std::optional<DaemonId> daemon);
    void set_connected();
    void set_ended(int transportCode);

private:
    friend struct InFlightList;

    std::atomic<uint32_t>& count_;
    const pthread_t thread_;
    InFlight* previous_ = nullptr;
    InFlight* next_ = nullptr;

    std::optional<DaemonId> daemon_; // empty before and after the exchange, and for an unknown one
    ExchangePhase phase_ = ExchangePhase::kConnecting;
    std::chrono::steady_clock::time_point began_;
    std::chrono::steady_clock::time_point since_;
};

// Returns when no exchange is in flight.
void wait_until_idle(const std::atomic<uint32_t>& count);

// The daemon that listens on a name, null for the default peer.
std::optional<DaemonId> daemon_of(const char* socketName);

} // namespace zrp

#pragma GCC visibility pop
