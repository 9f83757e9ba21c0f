// Limits of the exchanges that a thread makes: deadlines, and whether a cut reply is a failure.
//
//     const ExchangeLimitsGuard limits({.exchangeMs = 2000, .totalMs = 10000, .wholeReply = true});
//     rc = GetVolumes(print, nullptr, nullptr);
//
//  - They hold for everything that the thread does while the guard lives: each function that makes
//    exchanges, the walks over many pages, the C++ face. They belong to the thread and not to a
//    call, since the arguments of these functions are fixed, and other threads go on as they like.
//  - Without limits an exchange waits as transport.h says, and bytes that a reply announces but
//    lacks are zero.
//  - Of two guards in force the stricter limit counts, so that a function may set its own without
//    undoing those of its caller.
//  - Steps of an IPCClient that a program makes by itself know no limits.
#pragma once
#include "cplusplus.h"

#include <chrono>
#include <cstdint>

namespace zrp {

struct ExchangeLimits {
    // How long one exchange may take, from its connect to the last byte of its reply, and all that
    // happens while the guard lives, scans of long replies included; 0 for no limit. When the time
    // is up, the result is ETIMEDOUT. A negative one refuses every exchange with kInvalid.
    int32_t exchangeMs = 0;
    int32_t totalMs = 0;

    // A reply that is shorter than its header announces fails with kShortHeader, or with ETIMEDOUT
    // when a receive timeout cut it.
    bool wholeReply = false;

    // A reply whose header announces more bytes fails with kTooLong before any memory is taken for
    // it; 0 for no limit.
    uint32_t longestReply = 0;
};

// The limits in force on a thread.
struct ThreadLimits {
    std::chrono::milliseconds perExchange = std::chrono::milliseconds::max();
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
    bool wholeReply = false;
    uint32_t longestReply = UINT32_MAX;
    bool refused = false;
};

// Sets limits for the thread while it lives. It is destroyed on the thread that made it, the last
// one first.
class [[nodiscard]] ExchangeLimitsGuard {
public:
    explicit ExchangeLimitsGuard(const ExchangeLimits& limits);
    ~ExchangeLimitsGuard();
    ExchangeLimitsGuard(const ExchangeLimitsGuard&) = delete;
    ExchangeLimitsGuard& operator=(const ExchangeLimitsGuard&) = delete;

private:
    const ThreadLimits before_;
};

} // namespace zrp
