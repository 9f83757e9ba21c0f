#include "common/config/config_appenders.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "common/config/config_lines.h"
#include "common/result.h"

namespace zrp {
namespace {

using Words = std::initializer_list<const char*>;

// A newline would turn the rest of the word into another line.
bool are_valid(Words words) {
    return std::ranges::all_of(
        words, [](const char* word) { return word != nullptr && strchr(word, '\n') == nullptr; });
}

bool quote_if_blank(const char* value, ConfigWord& out) {
    const char* quote = strpbrk(value, " \t") != nullptr ? "\"" : "";
    const auto length =
        static_cast<size_t>(snprintf(out, sizeof out, "%s%s%s", quote, value, quote));
    return length < sizeof out;
}

void write_words(FILE* file, Words words) {
    const char* separator = "";
    for (const char* word : words) {
        fputs(separator, file);
        fputs(word, file);
        separator = " ";
    }
    fputc('\n', file);
}

int append_line(const char* path, Words words) {
    if (path == nullptr || !are_valid(words)) {
        return kInvalid;
    }
    OpenFile file = open_config(path);
    if (!file) {
        return kNotFound;
    }
    const off_t sizeBefore = size_of(file.get());
    end_last_line(file.get());
    write_words(file.get(), words);
    const bool written = ferror(file.get()) == 0;
    const bool closed = fclose(file.release()) == 0;
    if (!written || !closed) {
        undo_append(path, sizeBefore);
    }
    SetConfigFileMode(path);
    return written && closed ? int{kOk} : kAppendFailed;
}

} // namespace

int AppendConfigPair(const char* path, const char* key, const char* value) {
    return append_line(path, {key, value});
}

int AppendConfigLine3(const char* path, const char* word1, const char* word2, const char* value) {
    ConfigWord text;
    if (value == nullptr || !quote_if_blank(value, text)) {
        return kInvalid;
    }
    return append_line(path, {word1, word2, text});
}

int AppendConfigLine4(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4) {
    ConfigWord text;
    if (value == nullptr || !quote_if_blank(value, text)) {
        return kInvalid;
    }
    return append_line(path, {word1, word2, text, word4});
}

int AppendConfigLine5(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4, const char* word5) {
    ConfigWord text;
    if (value == nullptr || !quote_if_blank(value, text)) {
        return kInvalid;
    }
    return append_line(path, {word1, word2, text, word4, word5});
}

} // namespace zrp
