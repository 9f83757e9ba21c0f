#include "common/range_number.h"

#include <charconv>
#include <cstddef>
#include <limits>

#include "common/xml_scan.h"

namespace zrp {
namespace {

constexpr int kOctalBase = 8;
constexpr int kDecimalBase = 10;
constexpr int kHexadecimalBase = 16;
constexpr size_t kHexadecimalPrefix = 2; // "0x"

// Removes white space and the sign; returns whether the sign is a minus.
bool take_sign(std::string_view* text) {
    const char* start = skip_blanks(text->data(), text->data() + text->size());
    text->remove_prefix(static_cast<size_t>(start - text->data()));
    const bool negative = text->starts_with('-');
    if (negative || text->starts_with('+')) {
        text->remove_prefix(1);
    }
    return negative;
}

// "0x" without a digit after it is the number 0, as it is without the prefix.
int take_base(std::string_view* text) {
    if (text->starts_with("0x") || text->starts_with("0X")) {
        text->remove_prefix(kHexadecimalPrefix);
        return kHexadecimalBase;
    }
    return text->starts_with('0') ? kOctalBase : kDecimalBase;
}

// As many decimal digits always fit into 64 bits.
constexpr size_t kSafeDigits = std::numeric_limits<uint64_t>::digits10;

// The number that the text begins with; 0 without digits.
uint64_t sum_digits(std::string_view text) {
    uint64_t sum = 0;
    for (const char c : text) {
        const auto digit = static_cast<unsigned char>(c - '0');
        if (digit >= kDecimalBase) {
            break;
        }
        sum = sum * kDecimalBase + digit;
    }
    return sum;
}

// Returns false when the number needs more than 64 bits. Without digits the value is untouched.
bool take_digits(std::string_view text, int base, uint64_t* value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), *value, base);
    return result.ec != std::errc::result_out_of_range;
}

// The same for a decimal number, in fewer steps where the text is short.
bool take_decimal(std::string_view text, uint64_t* value) {
    if (text.size() > kSafeDigits) {
        return take_digits(text, kDecimalBase, value);
    }
    *value = sum_digits(text);
    return true;
}

} // namespace

int64_t leading_decimal(std::string_view text) {
    using Limits = std::numeric_limits<int64_t>;
    const bool negative = take_sign(&text);
    uint64_t magnitude = 0;
    const bool fits = take_decimal(text, &magnitude);
    if (!fits || magnitude > static_cast<uint64_t>(Limits::max())) {
        return negative ? Limits::min() : Limits::max();
    }
    const auto value = static_cast<int64_t>(magnitude);
    return negative ? -value : value;
}

uint64_t leading_number(std::string_view text) {
    const bool negative = take_sign(&text);
    const int base = take_base(&text);
    uint64_t magnitude = 0;
    const bool fits =
        base == kDecimalBase ? take_decimal(text, &magnitude) : take_digits(text, base, &magnitude);
    if (!fits) {
        return std::numeric_limits<uint64_t>::max();
    }
    return negative ? 0 - magnitude : magnitude;
}

} // namespace zrp
