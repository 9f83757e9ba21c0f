// Steps of two times sixteen bytes through a reply, to the few '<' that can matter to a search.
// Internal to the library.
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
#if defined(__SSE2__) && !defined(ZRP_PORTABLE_BITS)
#define ZRP_SSE2_BITS 1
#include <emmintrin.h>
#endif

#include "result.h"
#include "thread_limits.h"
#include "xml_scan.h"

#pragma GCC visibility push(hidden)

namespace zrp {

#if defined(__GNUC__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ && !defined(ZRP_WITHOUT_VECTORS)
#define ZRP_BLOCK_STEPS 1

inline constexpr ptrdiff_t kBlockSize = 16;
inline constexpr ptrdiff_t kStepSize = 2 * kBlockSize;

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
#ifdef ZRP_SSE2_BITS
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
    [[nodiscard]] Block hits(const char* markup) const {
        return MarkupFilter::hits(markup) & (load_block(markup + 1) == first_) &
               (load_block(markup + reach_) <= block_of('>'));
    }
#endif

private:
    ptrdiff_t reach_;
#ifdef ZRP_BLOCK_STEPS
    Block first_;
#endif
};

// What can matter inside an element of that name, which is not empty: what is before a '!', and
// what is before the name's first and last letters. That is the '<' of an opening tag, the '/' of a
// closing one, or nothing.
class ContentFilter {
public:
    explicit ContentFilter(std::string_view tag) : reach_(static_cast<ptrdiff_t>(tag.size())) {
#ifdef ZRP_BLOCK_STEPS
        first_ = block_of(tag.front());
        last_ = block_of(tag.back());
#endif
    }

    [[nodiscard]] ptrdiff_t reach() const {
        return reach_;
    }

#ifdef ZRP_BLOCK_STEPS
    [[nodiscard]] Block hits(const char* markup) const {
        const Block second = load_block(markup + 1);
        return ((second == first_) & (load_block(markup + reach_) == last_)) |
               (second == block_of('!'));
    }
#endif

private:
    ptrdiff_t reach_;
#ifdef ZRP_BLOCK_STEPS
    Block first_;
    Block last_;
#endif
};

#ifdef ZRP_BLOCK_STEPS
// As std::popcount, which is a call on a processor that may lack the instruction.
constexpr int count_bits(uint64_t bits) {
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return static_cast<int>(bits * 0x0101010101010101 >> 56);
}

inline uint32_t places_of(char c, const char* step) {
    const Block wanted = block_of(c);
    return bits_of(load_block(step) == wanted) | bits_of(load_block(step + kBlockSize) == wanted)
                                                     << kBlockSize;
}

// The next hit in whole pairs of blocks of [*position, end), or null; *position moves on, at most
// as far as a scan goes before it asks whether it has to end.
template <typename Filter>
[[gnu::always_inline]] inline const char*
next_hit_of_blocks(const Filter& filter, const char** position, const char* end) {
    const ptrdiff_t span = kStepSize + filter.reach();
    const ptrdiff_t size = std::min<ptrdiff_t>(end - *position, kLookDistance + span);
    ptrdiff_t left = size;
    for (; left >= span; left -= kStepSize, *position += kStepSize) {
        const Block hits = filter.hits(*position);
        const Block hitsAfter = filter.hits(*position + kBlockSize);
        if (bits_of(hits | hitsAfter) != 0) {
            return *position + std::countr_zero(bits_of(hits) | bits_of(hitsAfter) << kBlockSize);
        }
    }
    if (left >= span - kBlockSize) {
        const uint32_t bits = bits_of(filter.hits(*position));
        if (bits != 0) {
            return *position + std::countr_zero(bits);
        }
        *position += kBlockSize;
    }
    return nullptr;
}
#endif

// Finds the next place in [position, end) that the filter lets through; near the end that is each
// '<'. Returns kOk, kNotFound, or the code of a search that was broken off.
template <typename Filter, typename Char>
[[gnu::always_inline]] inline int next_hit([[maybe_unused]] const Filter& filter, Char* position,
                                           const char* end, Char** found) {
    const char* place = position;
    const char* hit = nullptr;
#ifdef ZRP_BLOCK_STEPS
    while ((hit = next_hit_of_blocks(filter, &place, end)) == nullptr &&
           end - place >= kStepSize + filter.reach()) {
        if (const int rc = scan_result(); rc != kOk) {
            return rc;
        }
    }
#endif
    if (hit == nullptr) {
        // A filter lets the '/' of a closing tag through, whose '<' may be the last that it passed.
        hit = next_markup(place > position ? place - 1 : place, end);
    }
    *found = hit != nullptr ? position + (hit - position) : nullptr;
    return hit != nullptr ? int{kOk} : int{kNotFound};
}

// Moves to the end of a name. Returns kOk, or the code with which the walk has to end.
template <typename Char>
int walk_name(Char** position, const char* end) {
    int rc = kOk;
    while (rc == kOk && *position < end) {
        Char* const stop = *position + std::min<ptrdiff_t>(end - *position, kLookDistance);
        *position = std::find_if(*position, stop, ends_name);
        if (*position < stop) {
            break;
        }
        rc = scan_result();
    }
    return rc;
}

// The longest name of a plain element.
inline constexpr ptrdiff_t kLongestPlainName = 48;

// The first character after a plain name, or null where it is not near. Names of letters and digits
// are plain; others may be.
inline char* plain_name_end(char* position, char* end) {
#ifdef ZRP_BLOCK_STEPS
    for (ptrdiff_t step = 0; step < kLongestPlainName && end - position >= kBlockSize;
         step += kBlockSize, position += kBlockSize) {
        const Block block = load_block(position);
        const Block stops = (block < block_of('0')) | (block == block_of('>'));
        if (const uint32_t bits = bits_of(stops); bits != 0) {
            return position + std::countr_zero(bits);
        }
    }
#endif
    char* const last = position + std::min(end - position, kLongestPlainName);
    char* const stop = std::find_if(position, last, ends_name);
    return stop < last ? stop : nullptr;
}

} // namespace zrp

#pragma GCC visibility pop
