// Lines of a configuration file and their words, and the functions for one fixed file with the file
// as an argument. Internal to the library.
#pragma once

#include <climits>
#include <cstdio>

#include "../open_file.h"
#include "config_file.h"

#pragma GCC visibility push(hidden)

namespace zrp {

inline constexpr size_t kConfigMaxWords = 5;

using ConfigWords = ConfigWord[kConfigMaxWords];

// A line with its newline and a terminator. A longer line of the file is read in pieces of 511
// bytes, each as a line of its own.
struct ConfigLine {
    char text[kConfigLineSize];
    size_t length; // of the bytes read, which may include NULs
};

// Opens with "a+" and rewinds. Null when the file cannot be opened.
OpenFile open_config(const char* path);

// Reads the next line. Returns false at the end of the file or on a read error.
bool next_line(FILE* file, ConfigLine& line);

// Splits off up to maxWords words and returns their number. The other words are untouched.
size_t split_words(const char* text, ConfigWords& words, size_t maxWords);

inline constexpr const char* kConfigWhiteSpace = " \t\n\v\f\r"; // what separates words

bool is_comment(const char* word);

const char* skip_blanks(const char* text);

// The functions below take a descriptor. Writers use no stream for writing: it would keep what
// could not be written, and try once more when it is closed.

// Returns the size of the file in bytes, -1 when it is unknown.
off_t size_of(int file);

// Whether the last line lacks its newline, so that appended text would become a part of it.
bool ends_within_line(int file);

// Writes all bytes. Returns false when that fails; a part may then be written.
bool write_all(int file, const char* bytes, size_t count);

// Truncates the file to the size that it had before a failed write. Does nothing for -1.
void undo_append(int file, off_t sizeBefore);

// Sets kConfigFileMode on a regular file. Devices and pipes keep theirs.
void set_file_mode(int file);

// Completes a rewrite that was killed between deletion and renaming: when the temporary file holds
// lines, and the configuration file is missing or empty, the one becomes the other. Returns false
// when it cannot be renamed. The caller holds the ConfigLock.
bool complete_rewrite(const char* path);

using TemporaryPath = char[PATH_MAX];

// Returns false when the path has no room for the suffix.
bool name_temporary(const char* path, TemporaryPath& temporary);

// FixConfigFilePermissions, GetZrpServerName and RemoveZrpServerName for any files.
void fix_permissions(const char* serverPath, const char* storagePath);
int read_server_name(const char* path, char* name, int* size);
int remove_server_name(const char* path);

// CheckDirectoryFileSystem for the type that statfs reports: kOk or kInvalid.
int check_file_system_type(long type);

} // namespace zrp

#pragma GCC visibility pop
