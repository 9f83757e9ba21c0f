// The versions of the server's running components.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr size_t kVersionTextSize = 4096;
using VersionText = char[kVersionTextSize];

// Each empties the text and asks one component for its version: the main daemon's engine library,
// the storage daemon, the management component. An empty reply of the first and the last is an
// empty version. Returns kOk; kNoMemory; the transport's code; the server's error; kInvalid for a
// reply without a version; kTooLong for a version that does not fit.
int getServerVersion(VersionText& text);
int getBksVersion(VersionText& text);
int getOmwVersion(VersionText& text);

// The requests of the three. A reply holds the version in an element versionTag.
char* BuildServerVersionRequest(uint32_t* length);
char* BuildBksVersionRequest(uint32_t* length);
char* BuildOmwVersionRequest(uint32_t* length);

} // namespace zrp
