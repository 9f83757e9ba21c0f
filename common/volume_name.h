// Names of volumes as requests and replies carry them.
#pragma once
#include "cplusplus.h"

#include <cstddef>

namespace zrp {

inline constexpr size_t kVolumeNameSize = 32; // of a name in a reply, with its terminator
using VolumeName = char[kVolumeNameSize];

// The longest name, in bytes, that an operation on a volume sends. A reference counts as the
// character that it names: "AT&amp;T" has four bytes, as the server sees it.
inline constexpr int kMaxVolumeName = 15;

} // namespace zrp
