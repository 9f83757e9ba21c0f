// How the steps of an exchange wait. Internal to the library.
#pragma once

#include <chrono>
#include <cstdint>
#include <sys/time.h>

#include "interrupt.h"
#include "thread_limits.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// What a wait obeys besides its own timeout.
struct Bounds {
    using Clock = std::chrono::steady_clock;

    uint32_t interruptMark = interrupt_mark();
    Clock::time_point end = Clock::time_point::max(); // of the exchange
    bool wholeReply = false;
    uint32_t longestReply = UINT32_MAX;

    // Returns kOk, or ECANCELED or ETIMEDOUT when the wait has to end.
    [[nodiscard]] int check() const;
};

// Of an exchange that begins now.
Bounds bounds_of(const ThreadLimits& limits);

// The time until the earlier of two moments, or until it is worth looking for an interrupt.
std::chrono::milliseconds next_slice(Bounds::Clock::time_point a, Bounds::Clock::time_point b,
                                     std::chrono::milliseconds longest = kInterruptSlice);

timeval to_timeval(std::chrono::milliseconds time);

bool is_none(const timeval& timeout);

// Waits until the socket is ready for the events. A timeout of 0 is none. Returns kOk; ECANCELED
// after an interrupt; ETIMEDOUT at the end of the exchange's time; or EAGAIN when the timeout is
// up.
int wait_ready(int fd, short events, const timeval& timeout, const Bounds& bounds);

} // namespace zrp

#pragma GCC visibility pop
