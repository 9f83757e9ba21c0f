#include "ctl/numbers.h"

#include <charconv>
#include <cmath>

namespace zrp::ctl {
namespace {

constexpr int kDecimal = 10;
constexpr int kHexadecimal = 16;

template <typename Number, typename... Form>
std::optional<Number> read_whole(std::string_view text, Form... form) {
    Number number = {};
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number, form...);
    return error == std::errc() && stopped == end ? std::optional(number) : std::nullopt;
}

} // namespace

std::optional<int64_t> read_number(std::string_view text) {
    return read_whole<int64_t>(text, kDecimal);
}

std::optional<uint64_t> read_unsigned(std::string_view text) {
    return read_whole<uint64_t>(text, kDecimal);
}

std::optional<uint64_t> read_mask(std::string_view text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    return isHexadecimal ? read_whole<uint64_t>(text.substr(2), kHexadecimal) : read_unsigned(text);
}

std::optional<double> read_fraction(std::string_view text) {
    const std::optional<double> number = read_whole<double>(text, std::chars_format::fixed);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

} // namespace zrp::ctl
