// The versions that the running components of the server give of themselves.
#pragma once

#include <cstddef>

namespace zrp {

inline constexpr size_t kVersionTextSize = 4096;
using VersionText = char[kVersionTextSize];

// Each empties the text and asks one component for its version: the main daemon's engine library,
// the storage daemon, the management component. Returns 0, for engine and management with an empty
// text when the reply is empty; 12 without memory for the request; the transport's code; the
// server's error; 22 for a reply without a version; 75 for a version that does not fit.
int getServerVersion(VersionText& text);
int getBksVersion(VersionText& text);
int getOmwVersion(VersionText& text);

} // namespace zrp
