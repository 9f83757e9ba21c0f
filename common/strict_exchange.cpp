#include "common/strict_exchange.h"

#include <cerrno>

#include "common/exchange.h"
#include "common/exchange_limits.h"

namespace zrp {
namespace {

ExchangeEnd end_of(const ExchangeOutcome& outcome) {
    switch (outcome.stage) {
    case ExchangeStage::kDone:
        return ExchangeEnd::kReply;
    case ExchangeStage::kStatus:
        return ExchangeEnd::kStatus;
    case ExchangeStage::kAllocate:
        return ExchangeEnd::kNoMemory;
    case ExchangeStage::kRefused:
        return ExchangeEnd::kRefused;
    case ExchangeStage::kConnect:
    case ExchangeStage::kTransfer:
        break;
    }
    switch (outcome.code) {
    case ETIMEDOUT:
        return ExchangeEnd::kTimedOut;
    case ECANCELED:
        return ExchangeEnd::kInterrupted;
    case kNoMemory:
        return ExchangeEnd::kNoMemory;
    default:
        return outcome.stage == ExchangeStage::kConnect ? ExchangeEnd::kNotConnected
                                                        : ExchangeEnd::kBroken;
    }
}

} // namespace

StrictReply ExchangeStrictly(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                             const char* request) {
    StrictReply result;
    if (socketName == nullptr || request == nullptr) {
        return result;
    }
    const ExchangeLimitsGuard limits({.wholeReply = true});
    const ExchangeOutcome outcome =
        exchange({socketName, nullptr, requestNumber, {{requestLength, request}, {}}});
    result.end = end_of(outcome);
    result.code = outcome.code;
    result.reply.text.reset(outcome.reply);
    result.reply.length = static_cast<int>(outcome.replyLength);
    result.peerProcess = outcome.peerProcess;
    result.peerUser = outcome.peerUser;
    return result;
}

} // namespace zrp
