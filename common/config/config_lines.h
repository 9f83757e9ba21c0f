// Lines of a configuration file and their words, and the functions for one fixed file with the file
// as an argument. Internal to the library.
#pragma once

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

bool is_comment(const char* word);

const char* skip_blanks(const char* text);

// Adds the newline that the last line lacks, so that appended text begins on a line of its own. The
// caller flushes.
void end_last_line(FILE* file);

// Returns the size of the file in bytes, -1 when it is unknown.
off_t size_of(FILE* file);

// Truncates the file to the size that it had before a failed write. Does nothing for -1.
void undo_append(const char* path, off_t sizeBefore);

// FixConfigFilePermissions, GetZrpServerName and RemoveZrpServerName for any files.
void fix_permissions(const char* serverPath, const char* storagePath);
int read_server_name(const char* path, char* name, int* size);
int remove_server_name(const char* path);

// CheckDirectoryFileSystem for the type that statfs reports: kOk or kInvalid.
int check_file_system_type(long type);

} // namespace zrp

#pragma GCC visibility pop
