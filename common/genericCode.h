// Numbers: size texts for the screens, block and unit conversions, and parsers of unsigned numbers
// that explain what they refuse.
//
// Everything here is pure and may be called on any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

// Room for the longest size text, "1023.99 KB", and its terminator.
using SizeText = char[11];

// Writes the size count * unitSize (the product wraps at 64 bits): "1023", "1 KB", "1.50 KB".
// Hundredths are cut, never rounded, and left out when they are 0. With spacedUnit the unit stands
// behind a blank, without it directly behind the number ("1.50KB").
void cvtBytesToString(SizeText& dst, uint64_t count, uint64_t unitSize, bool spacedUnit);

// The same with a spaced unit.
void cvtSizeToString(uint64_t count, uint64_t unitSize, SizeText& dst);

// Expresses a count of blocks of 2^fromBits bytes in blocks of 2^toBits bytes, rounded up by a
// 32-bit mask (see the source) and without an overflow check. Sizes 64 or more bits apart give 0.
uint64_t cvtBlocksToBlocks(uint64_t value, unsigned fromBits, unsigned toBits);

// Bytes to blocks of 2^blkSizeBits bytes, rounded up in the same way. More than 63 bits end the
// process with a failed assertion, in every kind of build.
uint64_t cvtBytesToBlocks(uint64_t bytes, unsigned blkSizeBits);

// Converts value units of fromUnit bytes to units of toUnit bytes: rounded up towards a larger
// unit, saturating at 2^64 - 1 towards a smaller one. Returns 0, or kInvalid for a null out, a unit
// of 0, or units of which neither is a multiple of the other.
int cvtUnits(uint64_t* out, uint64_t toUnit, uint64_t value, uint64_t fromUnit);

// Parses one unsigned number, decimal, hexadecimal ("0x10") or octal ("010"), with white space
// around it. Returns kInvalid for a null status, text or value, or for a message capacity with a
// null message argument; else 0, with the outcome in *status: 0, kNoData (empty text), kInvalid
// (negative, no digits, something behind the number), kRange, or an errno of the conversion.
//
// *value is stored only with status 0. With msgCapacity above 0, msgBuffer (of that size) receives
// the message, empty on success, and *msgLength its length, at most msgCapacity - 1.
int cvtStringToU64(const char* text, uint64_t* value, int* status, size_t msgCapacity,
                   size_t* msgLength, char* msgBuffer);

// The same for a number of at most 32 bits.
int cvtStringToU32(const char* text, uint32_t* value, int* status, size_t msgCapacity,
                   size_t* msgLength, char* msgBuffer);

} // namespace zrp
