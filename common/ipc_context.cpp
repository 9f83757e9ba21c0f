#include "common/ipc_context.h"

#include <cstring>
#include <ctime>

#include "common/bounded_copy.h"
#include "common/exchange.h"
#include "common/in_flight.h"
#include "common/log/log_state.h"
#include "common/result.h"

namespace zrp {
namespace {

// Compatibility: Init and Close clear this much of the name and leave the rest.
constexpr size_t kClearedNameBytes = 4;

void log_failure(const LogOperations& log, const ExchangeRequest& request,
                 const ExchangeOutcome& outcome) {
    switch (outcome.stage) {
    case ExchangeStage::kAllocate:
        log.LogError("IPCServRequestEx req#=%u len=%zu IPCClient() ENOMEM", request.requestNumber,
                     size_t{request.pieces[0].length});
        break;
    case ExchangeStage::kConnect:
    case ExchangeStage::kTransfer:
        log.LogError("IPCServRequestEx open/send/received failed rc=%d", outcome.code);
        break;
    case ExchangeStage::kStatus:
        log.LogError("IPCServRequestEx clientErr=%d", outcome.code);
        break;
    case ExchangeStage::kDone:
    case ExchangeStage::kRefused:
        break;
    }
}

} // namespace

void IPCServContextInit(IPCServContext& context) {
    memset(context.socketName, 0, kClearedNameBytes);
    context.state = -1;
    context.initialised = 0;
    context.requestCount = 0;
    context.failureCount = 0;
    context.inFlight = 0;
    context.log = nullptr;
}

int IPCServContextOpen(IPCServContext& context, const char* socketName, const char* configFile,
                       const char* logFile, int level) {
    const time_t started = time(nullptr);
    const bool isOpen = context.initialised != 0;
    if (!isOpen && (socketName == nullptr || *socketName == '\0')) {
        return kInvalid;
    }
    if (!isOpen) {
        copy_cut(context.socketName, socketName);
        context.state = 0;
    }
    context.log = attach_log(context.log, logFile, level);
    const int rc = start_log_from_config(configFile, started);
    context.initialised = 1;
    return rc;
}

void IPCServContextClose(IPCServContext& context) {
    if (context.initialised.exchange(0) == 0) {
        return;
    }
    wait_until_idle(context.inFlight);
    context.state = -1;
    memset(context.socketName, 0, kClearedNameBytes);
    const LogContext* log = context.log.exchange(nullptr);
    if (log != nullptr) {
        log->operations.LogClose();
    }
}

int IPCServRequestEx(IPCServContext& context, uint32_t requestNumber, uint64_t requestLength,
                     const char* request, uint64_t* replyLength, char** reply) {
    *reply = nullptr;
    *replyLength = 0;
    // Counted before the flag is read: IPCServContextClose clears the flag first and then waits for
    // the count, so that name and log stay valid until this exchange ends.
    const InFlight counted(context.inFlight);
    if (context.initialised == 0) {
        return kInvalid;
    }
    context.requestCount++;
    const ExchangeRequest wanted = {
        context.socketName, nullptr, requestNumber, {{requestLength, request}, {}}};
    const ExchangeOutcome outcome = exchange(wanted);
    if (outcome.code != kOk) {
        context.failureCount++;
        const LogContext* log = context.log;
        if (log != nullptr) {
            log_failure(log->operations, wanted, outcome);
        }
    }
    *reply = outcome.reply;
    *replyLength = outcome.replyLength;
    return outcome.code;
}

} // namespace zrp
