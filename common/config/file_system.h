// Small file-system routines for tools that set up the daemons' files and directories, with the
// conventions of config_file.h.
#pragma once
#include "../cplusplus.h"

#include <sys/types.h>

namespace zrp {

// Says whether the daemons can keep a volume in the directory: kOk, kInvalid when it is not a
// directory or is on a file system of the refused type, -1 when that cannot be found out.
int CheckDirectoryFileSystem(const char* path);

// Returns kOk for a path that is absolute and has no links, no "." and "..", and no doubled and
// trailing slashes; ELOOP for any other path that exists; else the errno of stat.
int IsCanonicalPath(const char* path);

// Creates the directory and its missing parents with the mode (0 means 0777), less the process's
// umask. Returns 0, or -1 with errno set: ENOTDIR when a parent is not a directory, EEXIST when the
// last component is not one. Directories that were created before a failure stay.
int MakeDirPath(const char* path, mode_t mode);

// MakeDirPath with mode 0744. Returns kOk or its errno.
int MakeDirectories(const char* path);

// Creates the directory, the file target with the content (may be null) and mode 0644, and a
// symbolic link to it, each only if it does not exist yet. Returns kOk or an errno. When the
// content cannot be written, the partial file stays, without a link, and counts as present in the
// next call: remove it before trying again.
int CreateFileAndLink(const char* directory, const char* target, const char* link,
                      const char* content);

// Returns 1 when the paths are equal or one is below the other ("/a/b" and "/a/b/c"), else 0.
// Compares the texts only.
int PathsMatch(const char* a, const char* b);

} // namespace zrp
