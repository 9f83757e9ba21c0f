// Ground of the configuration files: names, the file itself, its lines and their words.
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
#include <cstdio>
#include <memory>
#include <sys/types.h>

namespace zrp {

inline constexpr const char* kServerConfigPath = "/etc/opt/velmora/zrpserv.conf";
inline constexpr const char* kStorageConfigPath = "/etc/opt/velmora/zrp2bks.conf";

inline constexpr mode_t kConfigFileMode = 0644;

inline constexpr size_t kConfigLineSize = 512;
inline constexpr size_t kConfigMaxWords = 5;

// One word of a line, or a quoted value, with its terminator.
using ConfigWord = char[kConfigLineSize];
using ConfigWords = ConfigWord[kConfigMaxWords];

// One line with its newline and a terminator. A longer line of the file comes in pieces of 511
// bytes, each a line of its own.
struct ConfigLine {
    char text[kConfigLineSize];
    size_t length; // of the bytes read, so that a zero byte within them is not an end
};

struct ConfigFileCloser {
    void operator()(FILE* file) const {
        fclose(file);
    }
};

using ConfigFile = std::unique_ptr<FILE, ConfigFileCloser>;

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

// Sets *exists to 1 and returns 0 when the file can be opened for reading and writing; else sets it
// to 0 and returns kNotFound.
int ConfigFileExists(const char* path, int* exists);

void SetConfigFileMode(const char* path);

// Sets the mode of both daemons' files, of the storage daemon's only when it exists.
void FixConfigFilePermissions();

// The same on a given pair of files.
void fix_permissions(const char* serverPath, const char* storagePath);

} // namespace zrp
