#include "common/bounded_copy.h"

namespace zrp {
namespace {

constexpr size_t kLongestSequence = 4;

bool is_continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

size_t utf8_cut(const char* text, size_t length, size_t limit) {
    if (length <= limit) {
        return length;
    }
    size_t cut = limit;
    while (cut > 0 && limit - cut < kLongestSequence && is_continuation(text[cut])) {
        cut--;
    }
    return is_continuation(text[cut]) ? limit : cut;
}

void copy_cut(char* destination, size_t capacity, const char* text, size_t length) {
    const size_t cut = utf8_cut(text, length, capacity - 1);
    if (cut != 0) {
        memcpy(destination, text, cut);
    }
    destination[cut] = '\0';
}

} // namespace zrp
