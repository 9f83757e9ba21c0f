// A text in a heap block of exactly its size, so that the address sanitizer detects any access
// outside it. There is no terminating NUL.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "common/heap_text.h"

namespace zrp {

class ExactBlock {
public:
    explicit ExactBlock(std::string_view text)
        : block_(static_cast<char*>(std::malloc(text.size()))), size_(text.size()) {
        if (size_ != 0) {
            std::memcpy(block_.get(), text.data(), size_);
        }
    }

    [[nodiscard]] char* begin() const {
        return block_.get();
    }

    [[nodiscard]] char* end() const {
        return block_.get() + size_;
    }

    [[nodiscard]] int32_t length() const {
        return static_cast<int32_t>(size_);
    }

    // The block's present content.
    [[nodiscard]] std::string_view text() const {
        return {block_.get(), size_};
    }

private:
    HeapText block_;
    size_t size_;
};

// Calls the callback with every prefix of the text, including the empty one and the whole text.
template <typename Callback>
void for_each_truncated_prefix(std::string_view text, Callback callback) {
    for (size_t size = 0; size <= text.size(); size++) {
        callback(text.substr(0, size));
    }
}

// Calls scan(reply, length) for every prefix.
template <typename Scan>
void scan_every_prefix(std::string_view text, Scan scan) {
    for_each_truncated_prefix(text, [&](std::string_view prefix) {
        const ExactBlock reply(prefix);
        scan(reply.begin(), reply.length());
    });
}

} // namespace zrp
