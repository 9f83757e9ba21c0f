// The configuration files: their names, their modes and the conventions of this folder.
//
// A configuration file is a sequence of lines of blank-separated words; the first word is the key,
// and a line whose first non-blank character is '#' or ';' is a comment. A value that holds a blank
// stands in double quotes.
//
// Conventions, for all headers of this folder:
//  1. Results are 0, a code of result.h, an errno value, or -1 where said. A null argument that is
//     not said to be optional is refused with kInvalid.
//  2. Files are opened with "a+": a missing file comes into being, empty.
//  3. Nothing is locked. Writers to one file that run at the same time may mix their lines, and a
//     rewrite can lose a line that another program appends meanwhile.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace zrp {

inline constexpr const char* kServerConfigPath = "/etc/opt/velmora/zrpserv.conf";
inline constexpr const char* kStorageConfigPath = "/etc/opt/velmora/zrp2bks.conf";

inline constexpr mode_t kConfigFileMode = 0644;

inline constexpr size_t kConfigLineSize = 512;

// One word of a line, or a quoted value, with its terminator.
using ConfigWord = char[kConfigLineSize];

// Sets *exists to 1 and returns 0 when the file can be opened for reading and writing; else sets it
// to 0 and returns kNotFound.
int ConfigFileExists(const char* path, int* exists);

void SetConfigFileMode(const char* path);

// Sets the mode of both daemons' files, of the storage daemon's only when it exists.
void FixConfigFilePermissions();

} // namespace zrp
