// Writers that append one line to a configuration file. config_file.h tells the conventions.
//
// None looks whether the key is already there: remove an entry first to replace it. The value is
// written in double quotes when it holds a blank, by all but AppendConfigPair. The file ends with
// mode 0644. A last line without its newline is ended first, and a write that fails (a full disk)
// is taken back, so that no line runs into another.
//
// Each returns 0, kAppendFailed, kNotFound when the file cannot be opened, or kInvalid for a word
// that holds a newline or a value that does not fit into a ConfigWord with its quotes.
#pragma once

namespace zrp {

inline constexpr int kAppendFailed = -1;

int AppendConfigPair(const char* path, const char* key, const char* value);

int AppendConfigLine3(const char* path, const char* word1, const char* word2, const char* value);

int AppendConfigLine4(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4);

int AppendConfigLine5(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4, const char* word5);

} // namespace zrp
