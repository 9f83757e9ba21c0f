// The words for a volume's status bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

// Room for every word at once.
inline constexpr size_t kVolumeStatusTextSize = 256;

// Writes a word for each bit that is set, each followed by a blank: "online mounted ". A clear
// mounted bit has a word too, so the text is never empty.
void formatVolumeStatus(uint32_t status, char (&text)[kVolumeStatusTextSize]);

} // namespace zrp
