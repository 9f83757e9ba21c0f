// The limits that the library obeys on this thread. Internal to the library.
#pragma once

#include <cerrno>
#include <cstdlib>

#include "exchange_limits.h"
#include "result.h"

#pragma GCC visibility push(hidden)

namespace zrp {

const ThreadLimits& thread_limits();

// Whether a scan of a long reply has to end: returns kOk, ECANCELED after an interrupt, or
// ETIMEDOUT when the thread's time is up.
int scan_result();

// The bytes after which a scan asks. A scan of fewer, which is nearly every one, never does.
inline constexpr int kLookDistance = 1 << 20;

// Where a walk through a text asks next.
class Lookout {
public:
    explicit Lookout(const char* start) : last_(start) {}

    // Returns kOk, or the code with which the walk has to end.
    int at(const char* position) {
        if (std::abs(position - last_) < kLookDistance) {
            return kOk;
        }
        last_ = position;
        return scan_result();
    }

private:
    const char* last_;
};

// The failure of a scan: one that was broken off stays what it is.
inline int failure_of(int rc, int otherwise) {
    return rc == ECANCELED || rc == ETIMEDOUT ? rc : otherwise;
}

} // namespace zrp

#pragma GCC visibility pop
