#include "common/transport_wait.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <poll.h>

#include "common/result.h"
#include "common/wait_listener.h"

namespace zrp {
namespace {

using Clock = Bounds::Clock;
using std::chrono::milliseconds;

} // namespace

int Bounds::check() const {
    if (is_interrupted_since(interruptMark)) {
        return ECANCELED;
    }
    const bool isLimited = end != Clock::time_point::max();
    return isLimited && Clock::now() >= end ? ETIMEDOUT : int{kOk};
}

Bounds bounds_of(const ThreadLimits& limits) {
    Bounds bounds;
    bounds.end = limits.deadline;
    if (limits.perExchange != milliseconds::max()) {
        bounds.end = std::min(bounds.end, Clock::now() + limits.perExchange);
    }
    bounds.wholeReply = limits.wholeReply;
    bounds.longestReply = limits.longestReply;
    return bounds;
}

milliseconds next_slice(Clock::time_point a, Clock::time_point b, milliseconds longest) {
    const Clock::time_point first = std::min(a, b);
    const Clock::time_point now = Clock::now();
    return first > now + longest
               ? longest
               : std::max(std::chrono::ceil<milliseconds>(first - now), milliseconds{0});
}

timeval to_timeval(milliseconds time) {
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {whole.count(), std::chrono::microseconds(time - whole).count()};
}

bool is_none(const timeval& timeout) {
    return timeout.tv_sec == 0 && timeout.tv_usec == 0;
}

int wait_ready(int fd, short events, const timeval& timeout, const Bounds& bounds) {
    const Clock::time_point stepEnd = is_none(timeout)
                                          ? Clock::time_point::max()
                                          : Clock::now() + std::chrono::seconds(timeout.tv_sec) +
                                                std::chrono::microseconds(timeout.tv_usec);
    InterruptWake wake; // opened if the wait lasts
    bool isBelieved = true;
    for (;;) {
        const int rc = bounds.check();
        if (rc != kOk) {
            return rc;
        }
        const int wakeFd = isBelieved ? wake.descriptor() : -1;
        const milliseconds slice =
            next_slice(stepEnd, bounds.end, wakeFd < 0 ? kInterruptSlice : kLongInterruptSlice);
        pollfd watched[] = {{fd, events, 0}, {wakeFd, POLLIN, 0}};
        const int ready = poll(watched, std::size(watched), static_cast<int>(slice.count()));
        if (watched[0].revents != 0) {
            return kOk;
        }
        if (ready > 0) { // without an interrupt, its number is another file's now
            isBelieved = false;
        } else if (ready == 0 && Clock::now() >= stepEnd) {
            return EAGAIN;
        } else if (ready == 0) {
            tell_wait_listener();
            wake.open();
        }
    }
}

} // namespace zrp
