// Writers that append one line to a configuration file, with the conventions of config_file.h.
//
// They do not look whether the key is already there: to replace an entry, remove it first. All but
// AppendConfigPair put the value in double quotes when it holds white space. The file ends up with
// mode 0644. A last line without a newline gets one first, and a write that fails, as on a full
// disk, is undone, so that lines never run into each other.
//
// Each returns kOk, kAppendFailed, kNotFound when the file cannot be opened, or kInvalid for a line
// that the readers could not give back:
//  - a word that holds a newline, or words that with the blanks between them have more
//    than 511 bytes;
//  - an empty word, but for the fourth and fifth when no other word follows;
//  - in all forms but AppendConfigPair a quote or white space in a word other than the value, and a
//    quote in a value without white space.
// AppendConfigPair writes both texts as they are: with white space they are several words.
#pragma once
#include "../cplusplus.h"

namespace zrp {

inline constexpr int kAppendFailed = -1;

int AppendConfigPair(const char* path, const char* key, const char* value);

int AppendConfigLine3(const char* path, const char* word1, const char* word2, const char* value);

int AppendConfigLine4(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4);

int AppendConfigLine5(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4, const char* word5);

} // namespace zrp
