// The storage daemon's event filter: a list of names, each with a mask of the events that pass.
//
// Every operation asks the storage daemon by its own name and takes a log, which may be null.
// Results: 0, 22 for a bad argument, 12 without memory and for a name that does not fit into a
// request of 512 bytes, the transport's code. Only the list looks at the reply.
#pragma once

#include <cstdint>

#include "../log/log_context.h"

namespace zrp {

// Called for each filter with its name and its value as the daemon writes it. Both are
// NUL-terminated and valid during the call.
using FilterCallback = void (*)(const char* name, const char* value, void* userData);

// Gives each filter to the callback. Returns 0 for every reply that reports no error, also one
// without a list; a filter that lacks its name or value, or has one of 4096 characters or more, is
// passed over.
int IPCBKSControlFilterList(FilterCallback callback, void* userData, const LogContext* log);

int IPCBKSControlFilterSet(const LogContext* log, const char* name, uint32_t value);

// All filters as they were when the daemon started; no event passes any more.
int IPCBKSControlFilterReset(const LogContext* log);
int IPCBKSControlFilterOff(const LogContext* log);

} // namespace zrp
