// A text in a block of exactly its size: an access after it ends the test, and under the address
// sanitizer an access before it too. There is no terminating NUL.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

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
    // The block is the end of some pages; the page after them cannot be touched.
    static size_t size_of_pages(size_t size) {
        const auto page = static_cast<size_t>(getpagesize());
        return (size + page - 1) / page * page;
    }

    static char* allocate(size_t size) {
        const size_t usable = size_of_pages(size);
        const size_t guard = size_of_pages(1);
        void* pages = mmap(nullptr, usable + guard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED ||
            (usable != 0 && mprotect(pages, usable, PROT_READ | PROT_WRITE) != 0)) {
            std::abort();
        }
        return static_cast<char*>(pages) + usable - size;
    }

    static void release(char* block, size_t size) {
        const size_t usable = size_of_pages(size);
        munmap(block + size - usable, usable + size_of_pages(1));
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
