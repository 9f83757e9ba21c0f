// Guards for malloc'ed text: requests from the builders, replies from the transport.
#pragma once
#include "cplusplus.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace zrp {

struct FreeDeleter {
    void operator()(void* block) const {
        free(block);
    }
};

// Owns one malloc'ed block of characters.
using HeapText = std::unique_ptr<char, FreeDeleter>;

// A reply and its length as the scanners take it. A reply of 2 GiB or more has a negative length,
// which every scanner treats as an empty reply.
struct Reply {
    HeapText text;
    int32_t length = 0;
};

} // namespace zrp
