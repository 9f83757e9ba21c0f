// A text in a block of exactly its size: an access after it ends the test, and under the address
// sanitizer an access before it too. There is no terminating NUL.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define ZRP_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define ZRP_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#endif

namespace zrp {

class ExactBlock {
public:
    explicit ExactBlock(std::string_view text) : block_(allocate(text.size())), size_(text.size()) {
        if (size_ != 0) {
            std::memcpy(block_, text.data(), size_);
        }
    }

    ~ExactBlock() {
        release(block_, size_);
    }

    ExactBlock(const ExactBlock&) = delete;
    ExactBlock& operator=(const ExactBlock&) = delete;

    [[nodiscard]] char* begin() const {
        return block_;
    }

    [[nodiscard]] char* end() const {
        return block_ + size_;
    }

    [[nodiscard]] int32_t length() const {
        return static_cast<int32_t>(size_);
    }

    // The block's present content.
    [[nodiscard]] std::string_view text() const {
        return {block_, size_};
    }

private:
#if ZRP_ADDRESS_SANITIZER
    static char* allocate(size_t size) {
        return static_cast<char*>(std::malloc(size));
    }

    static void release(char* block, size_t /*size*/) {
        std::free(block);
    }
#else
    // The block is the end of a range of memory; the page after it cannot be touched. Ranges are
    // used again: to make one takes longer than most tests.
    static constexpr size_t kRange = size_t{1} << 24;

    static std::vector<char*>& unused_ends() {
        static thread_local std::vector<char*> ends;
        return ends;
    }

    static char* make_range() {
        const auto guard = static_cast<size_t>(getpagesize());
        void* range = mmap(nullptr, kRange + guard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (range == MAP_FAILED || mprotect(range, kRange, PROT_READ | PROT_WRITE) != 0) {
            std::abort();
        }
        return static_cast<char*>(range) + kRange;
    }

    static char* allocate(size_t size) {
        if (size > kRange) {
            std::abort();
        }
        char* end = nullptr;
        if (unused_ends().empty()) {
            end = make_range();
        } else {
            end = unused_ends().back();
            unused_ends().pop_back();
        }
        return end - size;
    }

    static void release(char* block, size_t size) {
        unused_ends().push_back(block + size);
    }
#endif

    char* block_;
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
