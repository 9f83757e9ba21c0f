// A number as requests and orders write it: digits from the first character to the last.
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace zrp::sim {

// Nothing for a text that holds anything else, or a number that its type cannot.
template <std::integral Number>
std::optional<Number> whole_number(std::string_view text, int base = 10) {
    Number value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stop != end) {
        return {};
    }
    return value;
}

} // namespace zrp::sim
