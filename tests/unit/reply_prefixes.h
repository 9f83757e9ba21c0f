// Every truncated form of a reply, each in a heap block of exactly its size, so that the address
// sanitizer reports the first byte that is read behind it.
#pragma once

#include <cstdlib>
#include <cstring>
#include <string>

#include "common/heap_text.h"

namespace zrp {

// A copy as the transport gives it: malloc'ed, not terminated.
inline HeapText heap_reply(const std::string& text) {
    HeapText copy(static_cast<char*>(malloc(text.empty() ? 1 : text.size())));
    memcpy(copy.get(), text.data(), text.size());
    return copy;
}

// Calls scan(reply, length) for every prefix, the empty one and the whole text included.
template <typename Scan>
void scan_every_prefix(const std::string& text, Scan scan) {
    for (size_t length = 0; length <= text.size(); length++) {
        const HeapText copy = heap_reply(text.substr(0, length));
        scan(copy.get(), static_cast<int>(length));
    }
}

} // namespace zrp
