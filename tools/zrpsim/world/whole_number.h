// Numbers in requests and commands: a text that is a number from its first character to its last.
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace zrp::sim {

// Returns nothing for any other text, and for a number that does not fit into the type.
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
