// The last step of an exchange. Internal to the library.
#pragma once

#include <cstdint>
#include <sys/socket.h>
#include <sys/time.h>

#include "transport.h"
#include "transport_wait.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// How each receive of a reply waits.
struct Patience {
    timeval timeout = {};     // 0 for none
    int flags = MSG_DONTWAIT; // 0 if the socket itself ends a recv() after a slice
};

// Reads one reply, with the results of IPCClient::Receive, ETIMEDOUT, and kTooLong by the bounds.
int receive_reply(const IPCClient& client, const Patience& patience, const Bounds& bounds,
                  uint32_t* status, uint64_t* length, char** buffer);

} // namespace zrp

#pragma GCC visibility pop
