// The transport's form for programs that talk to several daemons: each context has a socket name,
// counts and a log of its own.
//
// Any thread may exchange through an open context at any time; an exchange that begins while the
// context is closed, or before it is open, fails with 22. Init, Open and Close are for one thread
// at a time.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "log/log_context.h"

namespace zrp {

inline constexpr size_t kContextNameSize = 4096; // with its terminator

struct IPCServContext {
    char socketName[kContextNameSize] = {};
    int32_t state = -1; // 0 while open, -1 when closed
    std::atomic<int32_t> initialised =
        0; // not 0 between IPCServContextOpen and IPCServContextClose
    std::atomic<uint32_t> requestCount = 0; // exchanges made
    std::atomic<uint32_t> failureCount = 0; // those that did not return 0
    std::atomic<uint32_t> inFlight = 0;     // those going on at present
    std::atomic<LogContext*> log = nullptr; // the log of the process, or none
};

// Makes a context as new. It must be closed, or be memory that was never a context.
void IPCServContextInit(IPCServContext& context);

// Opens the context for the daemon of that name. With a log file it attaches the log and opens it
// at the level; with a configuration file that can be opened, the file's key "LOG_LEVEL" sets the
// level (see library_log.h). Each may be null. On an open context the name is not looked at, so
// that a log can be added later.
//
// A name of more than kMaxSocketName characters ends the process at the first exchange.
//
// Returns 22 for a null or empty name, else what the reader of the key returned, 0 without a
// configuration file.
int IPCServContextOpen(IPCServContext& context, const char* socketName, const char* configFile,
                       const char* logFile, int level);

// Waits until no exchange is in flight through the context, closes its log and forgets name and
// log. Does nothing to a closed context.
void IPCServContextClose(IPCServContext& context);

// One exchange with the context's daemon, as IPCServRequestEx with a name. Counts in the context
// and writes a line to its log for each failure. When the result is the reply's status, the caller
// owns the reply all the same. Returns 22 when the context is not open.
int IPCServRequestEx(IPCServContext& context, uint32_t requestNumber, uint64_t requestLength,
                     const char* request, uint64_t* replyLength, char** reply);

} // namespace zrp
