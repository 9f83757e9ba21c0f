// Numbers at the start of a text that has a length and no terminator. They read as strtol and its
// like do, which would run on behind the text.
#pragma once

#include <cstdint>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace zrp {

// The decimal number after leading white space and a sign; what follows its digits is ignored, no
// digits give 0. Beyond 64 bits it is the nearest number.
int64_t leading_decimal(std::string_view text);

// The unsigned number, with automatic base: "0x" for hexadecimal, "0" for octal. One with a minus
// wraps round; one beyond 64 bits is the largest.
uint64_t leading_number(std::string_view text);

} // namespace zrp

#pragma GCC visibility pop
