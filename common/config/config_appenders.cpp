#include "common/config/config_appenders.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <span>

#include "common/config/config_lines.h"
#include "common/config/config_lock.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr size_t kValuePlace = 2; // in all forms but the pair

using Words = std::span<const char* const>;

bool is_blank_word(const char* word) {
    return word[strspn(word, kConfigWhiteSpace)] == '\0';
}

// A newline would turn the rest of a word into another line, and an empty word would leave its
// place to the next one.
bool are_valid(Words words) {
    bool mustBeBlank = false;
    for (size_t i = 0; i < words.size(); i++) {
        if (words[i] == nullptr || strchr(words[i], '\n') != nullptr) {
            return false;
        }
        const bool isBlank = is_blank_word(words[i]);
        if (isBlank ? i <= kValuePlace : mustBeBlank) {
            return false;
        }
        mustBeBlank = isBlank;
    }
    return true;
}

// A line as the file gets it: a newline for the line before if that has none, words, newline.
struct Line {
    char text[1 + kConfigLineSize];
    size_t length;
};

// Returns false when a reader would read the line in pieces.
bool join(Words words, bool isAfterPartialLine, Line& line) {
    line.text[0] = '\n';
    line.length = isAfterPartialLine ? 1 : 0;
    size_t room = kConfigLineSize;
    const char* separator = "";
    for (const char* word : words) {
        const auto added =
            static_cast<size_t>(snprintf(line.text + line.length, room, "%s%s", separator, word));
        if (added >= room) {
            return false;
        }
        line.length += added;
        room -= added;
        separator = " ";
    }
    line.text[line.length++] = '\n';
    return true;
}

int append_line(const char* path, Words words) {
    Line line;
    if (path == nullptr || !are_valid(words) || !join(words, false, line)) {
        return kInvalid;
    }
    const ConfigLock lock(path);
    if (!complete_rewrite(path)) {
        return kNotFound;
    }
    OpenFile stream = open_config(path);
    if (!stream) {
        return kNotFound;
    }
    const int file = fileno(stream.get());
    const off_t sizeBefore = size_of(file);
    join(words, ends_within_line(file), line);
    const bool isWritten = write_all(file, line.text, line.length);
    if (!isWritten) {
        undo_append(file, sizeBefore);
    }
    set_file_mode(file);
    const bool isClosed = fclose(stream.release()) == 0;
    return isWritten && isClosed ? int{kOk} : kAppendFailed;
}

bool quote_if_blank(const char* value, ConfigWord& out) {
    const bool hasBlank = strpbrk(value, kConfigWhiteSpace) != nullptr;
    // A reader takes the first and the last quote of a line for those around the value.
    if (!hasBlank && strchr(value, '"') != nullptr) {
        return false;
    }
    const char* quote = hasBlank ? "\"" : "";
    const auto length =
        static_cast<size_t>(snprintf(out, sizeof out, "%s%s%s", quote, value, quote));
    return length < sizeof out;
}

bool is_plain(const char* word) {
    return word != nullptr && strchr(word, '"') == nullptr &&
           strpbrk(word, kConfigWhiteSpace) == nullptr;
}

int append_entry(const char* path, std::initializer_list<const char*> arguments) {
    const char* words[kConfigMaxWords] = {};
    std::ranges::copy(arguments, words);
    ConfigWord value;
    for (size_t i = 0; i < arguments.size(); i++) {
        if (i != kValuePlace && !is_plain(words[i])) {
            return kInvalid;
        }
    }
    if (words[kValuePlace] == nullptr || !quote_if_blank(words[kValuePlace], value)) {
        return kInvalid;
    }
    words[kValuePlace] = value;
    return append_line(path, {words, arguments.size()});
}

} // namespace

int AppendConfigPair(const char* path, const char* key, const char* value) {
    const char* words[] = {key, value};
    return append_line(path, words);
}

int AppendConfigLine3(const char* path, const char* word1, const char* word2, const char* value) {
    return append_entry(path, {word1, word2, value});
}

int AppendConfigLine4(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4) {
    return append_entry(path, {word1, word2, value, word4});
}

int AppendConfigLine5(const char* path, const char* word1, const char* word2, const char* value,
                      const char* word4, const char* word5) {
    return append_entry(path, {word1, word2, value, word4, word5});
}

} // namespace zrp
