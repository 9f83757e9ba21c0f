// The first step of an exchange. Internal to the library.
#pragma once

#include <sys/time.h>

#include "transport.h"
#include "transport_wait.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Connects to the abstract name, after closing an earlier connection. A receive timeout of 0 is
// none. The socket does not wait, or has a send timeout of its own. Returns kOk, ECANCELED,
// ETIMEDOUT, or the errno of socket() or connect().
int open_connection(IPCClient& client, const char* name, const timeval& receiveTimeout,
                    const Bounds& bounds);

} // namespace zrp

#pragma GCC visibility pop
