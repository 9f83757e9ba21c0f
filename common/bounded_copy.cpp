#include "common/bounded_copy.h"

namespace zrp {
namespace {

constexpr unsigned kContinuationMark = 0x80; // in the top two bits
constexpr unsigned kLeadOfTwo = 0xC0;
constexpr unsigned kLeadOfThree = 0xE0;
constexpr unsigned kLeadOfFour = 0xF0;
constexpr unsigned kNoLead = 0xF8;

unsigned byte_at(const char* text, size_t place) {
    return static_cast<unsigned char>(text[place]);
}

bool is_continuation(unsigned byte) {
    return (byte & kLeadOfTwo) == kContinuationMark;
}

// The length of the sequence that this byte begins.
size_t sequence_length(unsigned lead) {
    if (lead < kLeadOfTwo || lead >= kNoLead) {
        return 1;
    }
    return lead >= kLeadOfFour ? 4 : lead >= kLeadOfThree ? 3 : 2;
}

} // namespace

size_t utf8_cut(const char* text, size_t length, size_t limit) {
    if (length <= limit) {
        return length;
    }
    size_t lead = limit;
    while (lead > 0 && is_continuation(byte_at(text, lead))) {
        lead--;
    }
    return lead + sequence_length(byte_at(text, lead)) > limit ? lead : limit;
}

void copy_cut(char* destination, size_t capacity, const char* text, size_t length) {
    const size_t cut = utf8_cut(text, length, capacity - 1);
    if (text != nullptr && cut != 0) {
        memcpy(destination, text, cut);
    }
    destination[cut] = '\0';
}

} // namespace zrp
