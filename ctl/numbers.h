// Numbers as daemons and users write them. Nothing may follow a number.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zrp::ctl {

// Decimal, with a leading 0 too; nothing for a text that is no number, or beyond 64 bits.
std::optional<int64_t> read_number(std::string_view text);
std::optional<uint64_t> read_unsigned(std::string_view text);

// Decimal or, after 0x, hexadecimal.
std::optional<uint64_t> read_mask(std::string_view text);

// With a decimal point in every locale.
std::optional<double> read_fraction(std::string_view text);

} // namespace zrp::ctl
