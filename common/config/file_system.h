// Small file-system routines for tools that set up the daemons' files and directories.
// config_file.h tells the conventions.
#pragma once

#include <sys/types.h>

namespace zrp {

// Whether the daemons can keep a volume in the directory: 0, kInvalid for something that is not a
// directory or lies on a file system of the refused type, -1 when that cannot be found out.
int CheckDirectoryFileSystem(const char* path);

// Returns 0 for a path that is absolute and free of links, "." and "..", doubled and trailing
// slashes; ELOOP (40) for any other path that exists; else the errno of stat.
int IsCanonicalPath(const char* path);

// Creates the directory and every missing one above it with the mode, 0 meaning 0777, less the
// process's umask. Returns 0, or -1 with errno set: ENOTDIR when something above the last component
// is not a directory, EEXIST when the last one is not. What was created before stays.
int MakeDirPath(const char* path, mode_t mode);

// MakeDirPath with mode 0744. Returns 0 or its errno.
int MakeDirectories(const char* path);

// Creates the directory, the file target with the content (null for none) and mode 0644, and a
// symbolic link to it, each only if it does not exist yet. Returns 0 or an errno. A file whose
// content could not be written stays as far as it came, without a link, and the next call takes it
// for a present one: whoever tries again removes it first.
int CreateFileAndLink(const char* directory, const char* target, const char* link,
                      const char* content);

// Returns 1 when the paths are equal or one lies below the other ("/a/b" and "/a/b/c"), else 0.
// Compares the texts only.
int PathsMatch(const char* a, const char* b);

} // namespace zrp
