// Steps of sixteen bytes through a reply, to the few '<' that can matter to a search. Internal to
// the library.
//
// The last bytes of a range, and all of it where the compiler has no vectors, are searched from one
// '<' to the next: a search then sees more of them, and takes the same ones.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "result.h"
#include "thread_limits.h"
#include "xml_scan.h"

#pragma GCC visibility push(hidden)

namespace zrp {

#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define ZRP_BLOCK_STEPS 1

inline constexpr ptrdiff_t kBlockSize = 16;

using Block = signed char __attribute__((vector_size(kBlockSize)));

inline Block load_block(const char* from) {
    Block block;
    memcpy(&block, from, sizeof block);
    return block;
}

inline Block block_of(char c) {
    return Block{} + static_cast<signed char>(c);
}

// A bit for each byte that is all ones, the first byte's the lowest.
inline uint32_t bits_of(Block block) {
#ifdef __SSE2__
    return static_cast<uint32_t>(_mm_movemask_epi8(std::bit_cast<__m128i>(block)));
#else
    uint64_t words[2];
    memcpy(words, &block, sizeof words);
    const auto bits = [](uint64_t word) {
        return static_cast<uint32_t>(((word & 0x0101010101010101) * 0x0102040810204080) >> 56);
    };
    return bits(words[0]) | bits(words[1]) << 8;
#endif
}

#endif

// Every '<'.
struct MarkupFilter {
    [[nodiscard]] static ptrdiff_t reach() {
        return 0;
    }
#ifdef ZRP_BLOCK_STEPS
    [[nodiscard]] static Block hits(const char* markup) {
        return load_block(markup) == block_of('<');
    }
#endif
};

// Those that can open an element of a name, which is not empty: by its first letter, and by the
// character after it, which ends_name.
class OpeningFilter {
public:
    explicit OpeningFilter(std::string_view tag) : reach_(static_cast<ptrdiff_t>(tag.size()) + 1) {
#ifdef ZRP_BLOCK_STEPS
        first_ = block_of(tag.front());
#endif
    }

    // How many bytes after the '<' are looked at.
    [[nodiscard]] ptrdiff_t reach() const {
        return reach_;
    }

#ifdef ZRP_BLOCK_STEPS
    [[nodiscard]] Block hits_of_name(const char* name) const {
        return (load_block(name) == first_) & (load_block(name + reach_ - 1) <= block_of('>'));
    }
    [[nodiscard]] Block hits(const char* markup) const {
        return MarkupFilter::hits(markup) & hits_of_name(markup + 1);
    }
#endif

private:
    ptrdiff_t reach_;
#ifdef ZRP_BLOCK_STEPS
    Block first_;
#endif
};

// Those that can matter inside an element of that name: what opens or closes one, and "<!".
class ContentFilter {
public:
    explicit ContentFilter(std::string_view tag) : opening_(tag) {}

    [[nodiscard]] ptrdiff_t reach() const {
        return opening_.reach() + 1;
    }

#ifdef ZRP_BLOCK_STEPS
    [[nodiscard]] Block hits(const char* markup) const {
        const Block second = load_block(markup + 1);
        const Block closing = (second == block_of('/')) & opening_.hits_of_name(markup + 2);
        return MarkupFilter::hits(markup) &
               (closing | (second == block_of('!')) | opening_.hits_of_name(markup + 1));
    }
#endif

private:
    OpeningFilter opening_;
};

#ifdef ZRP_BLOCK_STEPS
// The next hit in whole blocks of [*position, end), or null; *position moves on, at most as far as
// a scan goes before it asks whether it has to end.
template <typename Filter>
[[gnu::always_inline]] inline const char*
next_hit_of_blocks(const Filter& filter, const char** position, const char* end) {
    const ptrdiff_t span = kBlockSize + filter.reach();
    const ptrdiff_t size = std::min<ptrdiff_t>(end - *position, kLookDistance + span);
    for (ptrdiff_t left = size; left >= span; left -= kBlockSize, *position += kBlockSize) {
        const Block hits = filter.hits(*position);
        if (const uint32_t bits = bits_of(hits); bits != 0) {
            return *position + std::countr_zero(bits);
        }
    }
    return nullptr;
}
#endif

// Finds the next '<' in [position, end) that the filter lets through; near the end it lets all of
// them through. Returns kOk, kNotFound, or the code of a search that was broken off.
template <typename Filter>
[[gnu::always_inline]] inline int next_hit(const Filter& filter, const char* position,
                                           const char* end, const char** found) {
#ifdef ZRP_BLOCK_STEPS
    while ((*found = next_hit_of_blocks(filter, &position, end)) == nullptr &&
           end - position >= kBlockSize + filter.reach()) {
        if (const int rc = scan_result(); rc != kOk) {
            return rc;
        }
    }
    if (*found != nullptr) {
        return kOk;
    }
#endif
    *found = next_markup(position, end);
    return *found != nullptr ? int{kOk} : int{kNotFound};
}

} // namespace zrp

#pragma GCC visibility pop
