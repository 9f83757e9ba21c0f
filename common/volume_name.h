// Names of volumes as requests and replies carry them.
#pragma once

#include <cstddef>

namespace zrp {

inline constexpr size_t kVolumeNameSize = 32; // of a name in a reply, with its terminator
using VolumeName = char[kVolumeNameSize];

// The longest name, in bytes, that an operation on a volume sends.
inline constexpr int kMaxVolumeName = 15;

} // namespace zrp
