// Readers of the configuration files, with the conventions of config_file.h.
//
// Output buffers are untouched on kNoData and kBufferTooSmall. A size argument holds the size of
// the buffer; with kBufferTooSmall it becomes the size needed, including the terminator.
#pragma once
#include "../cplusplus.h"

#include "config_file.h"

namespace zrp {

inline constexpr unsigned kEnableArchiveBit = 0x1000;        // "Enable_Archive_Bit"
inline constexpr unsigned kInheritPosixPermissions = 0x2000; // "Inherit_POSIX_Permissions"

// Reads the second word of the first line whose first word is the key (case matters), else the
// default, which may be null. Returns kOk, kNotFound when the file cannot be opened, kInvalid,
// kNoData without such a line and a default, or kBufferTooSmall.
int GetConfigValue(const char* path, const char* key, char* value, int* size,
                   const char* defaultText);

// Reads the server's name from the line "ZRP FILE SERVER NAME name" of the main daemon's file; the
// case of the four words is ignored. Returns kOk, kNotFound, kInvalid, kNoData or kBufferTooSmall.
//
// Compatibility: a line without a name has the fifth word of an earlier line, or an empty name.
int GetZrpServerName(char* name, int* size);

// Reads the volume line with the index, counted from 0. volumePath and attributes may be null;
// *attributes is set to 0 first. Returns kOk, kNotFound, kInvalid or kNoData.
//
// Compatibility: with a quoted path the options are searched for in the whole line, including the
// path. Otherwise they are the fourth and fifth word, and a line without these has those of an
// earlier line.
int GetVolumeEntry(const char* path, unsigned index, ConfigWord& name, ConfigWord* volumePath,
                   unsigned* attributes);

// Reads the shadow volume line with the index, counted from 0. volumePath, word4 and word5 may be
// null; the buffer of a word that the line does not have is untouched. Returns as GetVolumeEntry.
//
// Compatibility: without volumePath, quotes have no meaning and each word of a quoted path counts
// as a word of the line.
int GetShadowVolumeEntry(const char* path, unsigned index, ConfigWord& name, ConfigWord* volumePath,
                         ConfigWord* word4, ConfigWord* word5);

} // namespace zrp
