// The configuration files: their names, modes and keys, and the conventions of this folder.
//
// A configuration file is a sequence of lines of blank-separated words. The first word is the key.
// A line whose first non-blank character is '#' or ';' is a comment. A value that holds a blank is
// in double quotes.
//
// Conventions, for all headers of this folder:
//  1. Results are kOk, a code of result.h, an errno value, or -1 where said. A null argument is
//     refused with kInvalid unless the header says that it may be null.
//  2. Files are opened with "a+": a missing file is created, empty.
//  3. Nothing is locked. Two writers to one file may mix their lines, and a rewrite can lose a line
//     that another program appends at the same time.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace zrp {

inline constexpr const char* kServerConfigPath = "/etc/opt/velmora/zrpserv.conf";
inline constexpr const char* kStorageConfigPath = "/etc/opt/velmora/zrp2bks.conf";

inline constexpr mode_t kConfigFileMode = 0644;

// Keys. That of the server's name is four words.
inline constexpr const char* kLogLevelKey = "LOG_LEVEL";
inline constexpr const char* kServerNameKey[] = {"ZRP", "FILE", "SERVER", "NAME"};
inline constexpr const char* kVolumeKey = "VOLUME";
inline constexpr const char* kShadowVolumeKey = "SHADOW_VOLUME";

inline constexpr size_t kConfigLineSize = 512;

// One word of a line, or a quoted value, with its terminator.
using ConfigWord = char[kConfigLineSize];

// Sets *exists to 1 and returns kOk when the file can be opened for reading and writing, else sets
// it to 0 and returns kNotFound.
int ConfigFileExists(const char* path, int* exists);

void SetConfigFileMode(const char* path);

// Sets the mode of both daemons' files, of the storage daemon's only when it exists.
void FixConfigFilePermissions();

} // namespace zrp
