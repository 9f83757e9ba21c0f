// The last step of an exchange. Internal to the library.
#pragma once

#include <chrono>
#include <cstddef>
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

// The pieces of one reply so far.
struct SmallPieces {
    int inARow = 0;
};

// How long to let further bytes gather after a piece of `count` bytes, so that a peer that sends a
// few at a time does not cost a wake-up for each: not at all until 16 pieces in a row were shorter
// than 4096 bytes, then for 2 milliseconds, and twice as long after each further one, up to 128.
std::chrono::milliseconds pause_after_piece(SmallPieces* pieces, size_t count);

} // namespace zrp

#pragma GCC visibility pop
