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
//  3. Appenders and removers work one after another, in any number of processes and threads: each
//     locks the folder of the file (flock) while it works. A process that is killed leaves no lock.
//     A writer that has waited for kConfigLockPatience goes on without the lock: anyone who may
//     read the folder can hold it, and nobody may keep an administrator from writing.
//  4. So no line is lost, none is doubled, and no removed line comes back, whatever other writers
//     do that hold their lock for less, and whichever of them is killed at any moment;
//     config_removers.h says what becomes of a path + ".tmp" that is none of theirs. When one is
//     killed between the two last steps of a rewrite, the lines are in path + ".tmp" alone until
//     the next appender or remover puts them in their place.
//  5. Nothing is promised when a writer goes on without the lock or never locks (an editor), when
//     writers use different folders for the same file (a link), or where locks are not possible:
//     the folder is not readable, or its file system has none. A remover then still never deletes a
//     file that was replaced or changed after it began to copy, as far as it can see that right
//     before the deletion: it fails with kNotFound.
//  6. Readers neither lock nor wait. In the moment between the two last steps of a rewrite a reader
//     finds an empty file.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <sys/types.h>

namespace zrp {

inline constexpr const char* kServerConfigPath = "/etc/opt/velmora/zrpserv.conf";
inline constexpr const char* kStorageConfigPath = "/etc/opt/velmora/zrp2bks.conf";

inline constexpr mode_t kConfigFileMode = 0644;
inline constexpr int kConfigLockPatience = 5; // seconds

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
