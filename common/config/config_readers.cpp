#include "common/config/config_readers.h"

#include <cstring>
#include <utility>

#include "common/ascii_case.h"
#include "common/config/config_lines.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr size_t kMinEntryWords = 3;

constexpr size_t kServerNameWords = std::size(kServerNameKey);

struct VolumeOption {
    const char* word;
    unsigned bit;
};

constexpr VolumeOption kVolumeOptions[] = {
    {"Enable_Archive_Bit", kEnableArchiveBit},
    {"Inherit_POSIX_Permissions", kInheritPosixPermissions},
};

int copy_out(const char* text, char* buffer, int* size) {
    const size_t needed = strlen(text) + 1;
    if (std::cmp_less(*size, needed)) {
        *size = static_cast<int>(needed);
        return kBufferTooSmall;
    }
    memcpy(buffer, text, needed);
    return kOk;
}

void copy_word(const ConfigWord& from, ConfigWord& to) {
    memcpy(to, from, sizeof to);
}

void copy_word_if_given(const ConfigWord& from, ConfigWord* to) {
    if (to != nullptr && from[0] != '\0') {
        copy_word(from, *to);
    }
}

bool is_server_name_line(const ConfigWords& words) {
    for (size_t i = 0; i < kServerNameWords; i++) {
        if (!equal_ignoring_case(words[i], kServerNameKey[i])) {
            return false;
        }
    }
    return true;
}

// What happens to the words between lines: the two kinds of entry lines differ in it.
enum class BetweenLines { kKeepWords, kClearWords };

struct ConfigEntry {
    ConfigLine line;
    ConfigWords words;
};

int find_entry(const char* path, const char* keyword, unsigned index, BetweenLines betweenLines,
               ConfigEntry& entry) {
    const OpenFile file = open_config(path);
    if (!file) {
        return kNotFound;
    }
    while (next_line(file.get(), entry.line)) {
        if (betweenLines == BetweenLines::kClearWords) {
            memset(entry.words, 0, sizeof entry.words);
        }
        const size_t count = split_words(entry.line.text, entry.words, kConfigMaxWords);
        if (count >= kMinEntryWords && equal_ignoring_case(entry.words[0], keyword) &&
            index-- == 0) {
            return kOk;
        }
    }
    return kNoData;
}

// Copies the text between the first and the last double quote and returns the text after the last
// one, null when the line has no quote.
const char* copy_quoted(const ConfigLine& line, ConfigWord& value) {
    const char* first = strchr(line.text, '"');
    if (first == nullptr) {
        return nullptr;
    }
    const char* last = strrchr(line.text, '"');
    memset(value, 0, sizeof value);
    if (last > first) {
        memcpy(value, first + 1, static_cast<size_t>(last - first - 1));
    }
    return last + 1;
}

bool holds_word(const char* text, const char* word) {
    const size_t length = strlen(word);
    while (*text != '\0' && !equal_ignoring_case(text, word, length)) {
        text++;
    }
    return *text != '\0';
}

unsigned options_within(const char* text) {
    unsigned attributes = 0;
    for (const VolumeOption& option : kVolumeOptions) {
        if (holds_word(text, option.word)) {
            attributes |= option.bit;
        }
    }
    return attributes;
}

unsigned options_of_words(const ConfigWords& words) {
    unsigned attributes = 0;
    for (const VolumeOption& option : kVolumeOptions) {
        if (equal_ignoring_case(words[3], option.word) ||
            equal_ignoring_case(words[4], option.word)) {
            attributes |= option.bit;
        }
    }
    return attributes;
}

} // namespace

int GetConfigValue(const char* path, const char* key, char* value, int* size,
                   const char* defaultText) {
    if (path == nullptr || key == nullptr || value == nullptr || size == nullptr) {
        return kInvalid;
    }
    const OpenFile file = open_config(path);
    if (!file) {
        return kNotFound;
    }
    ConfigLine line;
    ConfigWords words;
    while (next_line(file.get(), line)) {
        if (split_words(line.text, words, 2) == 2 && !is_comment(words[0]) &&
            strcmp(words[0], key) == 0) {
            return copy_out(words[1], value, size);
        }
    }
    return defaultText != nullptr ? copy_out(defaultText, value, size) : int{kNoData};
}

int GetZrpServerName(char* name, int* size) {
    return read_server_name(kServerConfigPath, name, size);
}

int read_server_name(const char* path, char* name, int* size) {
    if (path == nullptr || name == nullptr || size == nullptr) {
        return kInvalid;
    }
    const OpenFile file = open_config(path);
    if (!file) {
        return kNotFound;
    }
    ConfigLine line;
    ConfigWords words = {};
    while (next_line(file.get(), line)) {
        if (split_words(line.text, words, kConfigMaxWords) >= kServerNameWords &&
            is_server_name_line(words)) {
            return copy_out(words[kServerNameWords], name, size);
        }
    }
    return kNoData;
}

int GetVolumeEntry(const char* path, unsigned index, ConfigWord& name, ConfigWord* volumePath,
                   unsigned* attributes) {
    if (attributes != nullptr) {
        *attributes = 0;
    }
    if (path == nullptr) {
        return kInvalid;
    }
    ConfigEntry entry = {};
    const int rc = find_entry(path, kVolumeKey, index, BetweenLines::kKeepWords, entry);
    if (rc != kOk) {
        return rc;
    }
    copy_word(entry.words[1], name);
    const bool quoted = volumePath != nullptr && copy_quoted(entry.line, *volumePath) != nullptr;
    if (volumePath != nullptr && !quoted) {
        copy_word(entry.words[2], *volumePath);
    }
    if (attributes != nullptr) {
        *attributes = quoted ? options_within(entry.line.text) : options_of_words(entry.words);
    }
    return kOk;
}

int GetShadowVolumeEntry(const char* path, unsigned index, ConfigWord& name, ConfigWord* volumePath,
                         ConfigWord* word4, ConfigWord* word5) {
    if (path == nullptr) {
        return kInvalid;
    }
    ConfigEntry entry = {};
    const int rc = find_entry(path, kShadowVolumeKey, index, BetweenLines::kClearWords, entry);
    if (rc != kOk) {
        return rc;
    }
    copy_word(entry.words[1], name);
    const ConfigWord* fourth = &entry.words[3];
    ConfigWords wordsAfterPath = {};
    if (volumePath != nullptr) {
        const char* rest = copy_quoted(entry.line, *volumePath);
        if (rest != nullptr) {
            split_words(rest, wordsAfterPath, 2);
            fourth = &wordsAfterPath[0];
        } else {
            copy_word(entry.words[2], *volumePath);
        }
    }
    copy_word_if_given(fourth[0], word4);
    copy_word_if_given(fourth[1], word5);
    return kOk;
}

} // namespace zrp
