// Guard for malloc'ed text: requests from the builders, replies from the transport.
#pragma once

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

} // namespace zrp
