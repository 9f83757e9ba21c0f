// One exchange of which the caller learns exactly how it ended, for programs that must not take a
// broken answer for an empty one.
//
//  - The codes of IPCServRequestEx (transport.h) do not tell the status of a reply from an errno of
//    the system. Here the end of an exchange is a value of its own.
//  - The reply is whole or there is none; its header may come in pieces; it takes no more memory
//    than came of it.
//  - The deadlines of the thread hold (exchange_limits.h). The default peer is not needed.
#pragma once
#include "cplusplus.h"

#include <cstdint>

#include "heap_text.h"
#include "result.h"

namespace zrp {

enum class ExchangeEnd : uint8_t {
    kReply,        // with status 0
    kStatus,       // a reply with another status; its text came too
    kNotConnected, // nobody listens, or there is no socket
    kTimedOut,     // by the limits of the thread; nobody accepted in time, too
    kInterrupted,  // by IPCServInterrupt
    kBroken,       // closed early, or not a reply of this protocol
    kNoMemory,
    kRefused, // a null name or a null request: nothing was sent
};

struct StrictReply {
    ExchangeEnd end = ExchangeEnd::kRefused;
    int code = kInvalid; // for ResultText; the status for kStatus
    Reply reply;
    int32_t peerProcess = 0; // the process that listens, and its user; 0 without a connection
    uint32_t peerUser = 0;
};

StrictReply ExchangeStrictly(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                             const char* request);

} // namespace zrp
