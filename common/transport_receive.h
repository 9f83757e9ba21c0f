// The last step of an exchange. Internal to the library.
#pragma once

#include <cstdint>
#include <sys/time.h>

#include "transport.h"
#include "transport_wait.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Reads one reply, with the results of IPCClient::Receive, ETIMEDOUT, and kTooLong by the bounds. A
// timeout, which is that of each receive, of 0 is none.
int receive_reply(const IPCClient& client, const timeval& timeout, const Bounds& bounds,
                  uint32_t* status, uint64_t* length, char** buffer);

} // namespace zrp

#pragma GCC visibility pop
