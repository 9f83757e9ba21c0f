// How a program follows what the library sends and receives.
#pragma once
#include "cplusplus.h"

#include <cstdint>

namespace zrp {

// Optional trace operations of a caller; each may be null.
struct RequestHooks {
    void (*dump)(const char* text, uint64_t length) = nullptr; // every request and reply
    [[gnu::format(printf, 1, 2)]] void (*log)(const char* format, ...) = nullptr; // failures
};

// The hooks of the operations that take none. They are empty unless the program sets them before
// its threads send requests.
extern RequestHooks traceHooks;

} // namespace zrp
