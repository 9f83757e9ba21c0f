// The exchange of the storage daemon's control requests. Internal to the library.
#pragma once

#include <cstdint>

#include "../log/log_context.h"
#include "../xml_writer.h"
#include "query.h"

#pragma GCC visibility push(hidden)

namespace zrp {

inline constexpr size_t kControlRequestRoom = 512;

// How an operation shows itself in the log.
struct ControlTrace {
    const LogContext* log = nullptr;
    const char* operation = nullptr; // name for the line of a failed exchange; null for no line
    bool dumpsReply = false;
};

// Sends the document to the storage daemon. Returns 0, 22 when a text was refused, 12 without a
// document for another reason, or the transport's code.
int exchange_control(const ControlTrace& trace, XmlDocument document, Reply* reply);

} // namespace zrp

#pragma GCC visibility pop
