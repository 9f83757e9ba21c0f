// The transport for programs that talk to several daemons: each context has its own socket name,
// counts and log.
//
// Any thread may make an exchange through an open context at any time. Init, Open and Close must
// not run on two threads at once.
#pragma once
#include "cplusplus.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "log/log_context.h"

namespace zrp {

inline constexpr size_t kContextNameSize = 4096; // with its terminator

struct IPCServContext {
    char socketName[kContextNameSize] = {};
    int32_t state = -1;                     // 0 while open, -1 when closed
    std::atomic<int32_t> initialised = 0;   // not 0 while open
    std::atomic<uint32_t> requestCount = 0; // exchanges made
    std::atomic<uint32_t> failureCount = 0; // exchanges that failed
    std::atomic<uint32_t> inFlight = 0;     // exchanges under way
    std::atomic<LogContext*> log = nullptr; // the log of the process, or null
};

// Resets a context, which must be closed or memory that was never a context.
void IPCServContextInit(IPCServContext& context);

// Opens the context for the daemon of that name. With a log file, opens the log of the process at
// the level and attaches it; with a configuration file, the value of kLogLevelKey in it sets the
// level (see library_log.h). Both files may be null. On an open context the name is ignored, so
// that a log can be added later.
//
// A name of more than kMaxSocketName characters aborts the process at the first exchange.
//
// Returns kInvalid for a null or empty name, else the result of reading the key, kOk without a
// configuration file.
int IPCServContextOpen(IPCServContext& context, const char* socketName, const char* configFile,
                       const char* logFile, int level);

// Waits until no exchange is in flight through the context, closes its log and forgets both. Does
// nothing to a closed context.
void IPCServContextClose(IPCServContext& context);

// Makes one exchange with the context's daemon, as IPCServRequestEx with a name, counts it in the
// context and logs a failure. The caller owns the reply even when its status is not 0. Returns
// kInvalid when the context is not open.
int IPCServRequestEx(IPCServContext& context, uint32_t requestNumber, uint64_t requestLength,
                     const char* request, uint64_t* replyLength, char** reply);

} // namespace zrp
