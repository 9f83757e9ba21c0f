// Numbers at the start of a text that has a length and no terminator, read as strtoll and strtoull
// read them. Those functions need a terminator and would read past the end of the text.
#pragma once

#include <cstdint>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace zrp {

// Reads a decimal number after optional white space and an optional sign; whatever follows the
// digits is ignored. Returns 0 without digits, and the nearest 64-bit number when out of range.
int64_t leading_decimal(std::string_view text);

// Reads an unsigned number with automatic base: "0x" prefixes hexadecimal, "0" octal. A number with
// a minus sign wraps around; a number out of range becomes the largest 64-bit number.
uint64_t leading_number(std::string_view text);

} // namespace zrp

#pragma GCC visibility pop
