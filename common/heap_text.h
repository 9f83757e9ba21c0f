// Guard for text that malloc gave: requests of the builders, replies of the transport.
#pragma once

#include <cstdlib>
#include <memory>

namespace zrp {

struct FreeDeleter {
    void operator()(void* block) const {
        free(block);
    }
};

// Owns one malloc'ed block of characters and frees it at the end of its scope.
using HeapText = std::unique_ptr<char, FreeDeleter>;

} // namespace zrp
