#include "common/exchange_limits.h"

#include <algorithm>
#include <cerrno>

#include "common/interrupt.h"
#include "common/result.h"
#include "common/thread_limits.h"
#include "common/wait_listener.h"

namespace zrp {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constinit thread_local ThreadLimits limitsInForce;

ThreadLimits stricter(const ThreadLimits& before, const ExchangeLimits& limits) {
    ThreadLimits now = before;
    if (limits.exchangeMs != 0) {
        now.perExchange = std::min(now.perExchange, milliseconds(limits.exchangeMs));
    }
    if (limits.totalMs != 0) {
        now.deadline = std::min(now.deadline, Clock::now() + milliseconds(limits.totalMs));
    }
    now.wholeReply = now.wholeReply || limits.wholeReply;
    if (limits.longestReply != 0) {
        now.longestReply = std::min(now.longestReply, limits.longestReply);
    }
    now.refused = now.refused || limits.exchangeMs < 0 || limits.totalMs < 0;
    return now;
}

} // namespace

ExchangeLimitsGuard::ExchangeLimitsGuard(const ExchangeLimits& limits) : before_(limitsInForce) {
    limitsInForce = stricter(before_, limits);
}

ExchangeLimitsGuard::~ExchangeLimitsGuard() {
    limitsInForce = before_;
}

const ThreadLimits& thread_limits() {
    return limitsInForce;
}

int scan_result() {
    tell_wait_listener();
    if (is_interrupted()) {
        return ECANCELED;
    }
    const bool isLimited = limitsInForce.deadline != Clock::time_point::max();
    return isLimited && Clock::now() >= limitsInForce.deadline ? ETIMEDOUT : int{kOk};
}

} // namespace zrp
