// Lines of a configuration file and their words, and the operations on a fixed file with the file
// as an argument. Only the files of this folder and their tests include this header.
#pragma once

#include <cstdio>

#include "../file_guard.h"
#include "config_file.h"

#pragma GCC visibility push(hidden)

namespace zrp {

inline constexpr size_t kConfigMaxWords = 5;

using ConfigWords = ConfigWord[kConfigMaxWords];

// One line with its newline and a terminator. A longer line of the file comes in pieces of 511
// bytes, each a line of its own.
struct ConfigLine {
    char text[kConfigLineSize];
    size_t length; // of the bytes read, so that a zero byte within them is not an end
};

using ConfigFile = File;

// Opens with "a+", reading from the start. Null when the file cannot be opened.
ConfigFile open_config(const char* path);

// Reads the next line; false at the end of the file or on a read error.
bool next_line(FILE* file, ConfigLine& line);

// Splits off up to maxWords words and returns their count. Words that the line does not have keep
// what they held.
size_t split_words(const char* text, ConfigWords& words, size_t maxWords);

bool is_comment(const char* word);

const char* skip_blanks(const char* text);

// Ends a last line that lacks its newline, so that what is appended next begins a line of its own.
// Bytes move with the next flush.
void end_last_line(FILE* file);

// Size of the file in bytes, -1 when it is not known.
off_t size_of(FILE* file);

// Cuts off what a failed write added behind size. Does nothing for an unknown size.
void take_back(const char* path, off_t size);

// FixConfigFilePermissions, GetZrpServerName and RemoveZrpServerName on any files.
void fix_permissions(const char* serverPath, const char* storagePath);
int read_server_name(const char* path, char* name, int* size);
int remove_server_name(const char* path);

// What CheckDirectoryFileSystem makes of the type number of statfs: 0 or kInvalid.
int check_file_system_type(long type);

} // namespace zrp

#pragma GCC visibility pop
