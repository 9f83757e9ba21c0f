// Numbers: size texts for the screens, conversions of blocks and units, and parsers of unsigned
// numbers that explain what they refuse.
//
// These functions share no state and may be called on any thread.
#pragma once
#include "cplusplus.h"

#include <cstddef>
#include <cstdint>

namespace zrp {

// Holds the longest size text, "1023.99 KB", and its terminator.
using SizeText = char[11];

// Writes the size count * unitSize (the product wraps at 64 bits): "1023", "1 KB", "1.50 KB".
// Hundredths are truncated, not rounded, and left out when they are 0. With spacedUnit a blank
// separates number and unit; without it the text is "1.50KB".
void cvtBytesToString(SizeText& dst, uint64_t count, uint64_t unitSize, bool spacedUnit);

// cvtBytesToString with a spaced unit.
void cvtSizeToString(uint64_t count, uint64_t unitSize, SizeText& dst);

// Converts a count of blocks of 2^fromBits bytes to blocks of 2^toBits bytes, rounded up and
// without an overflow check. Returns 0 when the sizes are 64 or more bits apart.
//
// Compatibility: the count is rounded up with a 32-bit mask, so that a conversion by 32 to 63 bits
// is rounded up by the mask for 32 bits less.
uint64_t cvtBlocksToBlocks(uint64_t value, unsigned fromBits, unsigned toBits);

// Converts bytes to blocks of 2^blkSizeBits bytes, rounded up in the same way. More than 63 bits
// abort the process with a failed assertion, even in a release build.
uint64_t cvtBytesToBlocks(uint64_t bytes, unsigned blkSizeBits);

// Converts a count of units of fromUnit bytes to units of toUnit bytes. A conversion to a larger
// unit is rounded up; one to a smaller unit saturates at 2^64 - 1. Returns kOk, or kInvalid for a
// null out, a unit of 0, or units of which neither is a multiple of the other.
int cvtUnits(uint64_t* out, uint64_t toUnit, uint64_t value, uint64_t fromUnit);

// Parses one unsigned number, decimal, hexadecimal ("0x10") or octal ("010"), with optional white
// space around it. Returns kInvalid for a null text, value or status, or a null msgLength or
// msgBuffer with msgCapacity above 0; else kOk, with the outcome in *status: kOk, kNoData (empty
// text), kInvalid (negative, no digits, other text after the number), kRange, or the errno of the
// conversion.
//
// *value is stored only when *status is kOk. With msgCapacity above 0, msgBuffer (of that size)
// receives a message, empty on success, and *msgLength its length, at most msgCapacity - 1.
int cvtStringToU64(const char* text, uint64_t* value, int* status, size_t msgCapacity,
                   size_t* msgLength, char* msgBuffer);

// The same for a number of at most 32 bits.
int cvtStringToU32(const char* text, uint32_t* value, int* status, size_t msgCapacity,
                   size_t* msgLength, char* msgBuffer);

} // namespace zrp
