// Readers of the configuration files. config_file.h tells the conventions.
//
// Output buffers stay untouched on kNoData and kBufferTooSmall. A size argument holds the buffer's
// size; on kBufferTooSmall it then holds the size needed, terminator included.
#pragma once

#include "config_file.h"

namespace zrp {

inline constexpr unsigned kEnableArchiveBit = 0x1000;        // "Enable_Archive_Bit"
inline constexpr unsigned kInheritPosixPermissions = 0x2000; // "Inherit_POSIX_Permissions"

// Reads the second word of the first line whose first word is the key (upper and lower case
// differ), else the default, which may be null. Returns 0, kNotFound when the file cannot be
// opened, kInvalid, kNoData (no such line and no default) or kBufferTooSmall.
int GetConfigValue(const char* path, const char* key, char* value, int* size,
                   const char* defaultText);

// Reads the server's name from the line "ZRP FILE SERVER NAME name" of the main daemon's file, its
// key words in any case. Returns 0, kNotFound, kInvalid, kNoData or kBufferTooSmall.
//
// The fifth word is kept from line to line: a line of the four key words alone gives that of an
// earlier line, or an empty name.
int GetZrpServerName(char* name, int* size);

// Reads the volume line number index, counted from 0. volumePath and attributes may be null;
// *attributes becomes 0 before anything else. Returns 0, kNotFound, kInvalid or kNoData.
//
// With a quoted path the options are searched in the whole line, the path included. Without quotes
// they are the fourth and fifth word, which a shorter line shows as an earlier line left them.
int GetVolumeEntry(const char* path, unsigned index, ConfigWord& name, ConfigWord* volumePath,
                   unsigned* attributes);

// Reads the shadow volume line number index. volumePath, word4 and word5 may be null; a word that
// the line does not have leaves its buffer untouched. Returns as GetVolumeEntry.
//
// The words behind a quoted path are found only when volumePath is given; without it the line is
// taken as bare words.
int GetShadowVolumeEntry(const char* path, unsigned index, ConfigWord& name, ConfigWord* volumePath,
                         ConfigWord* word4, ConfigWord* word5);

} // namespace zrp
