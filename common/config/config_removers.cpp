#include "common/config/config_removers.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <unistd.h>

#include "common/ascii_case.h"
#include "common/config/config_lines.h"
#include "common/result.h"

namespace zrp {
namespace {

using TemporaryPath = char[PATH_MAX];

bool begins_with(const char* text, const char* word) {
    return equal_ignoring_case(text, word, strlen(word));
}

bool is_server_name(const char* text) {
    for (const char* word : kServerNameKey) {
        text = skip_blanks(text);
        if (!begins_with(text, word)) {
            return false;
        }
        text += strlen(word);
    }
    return true;
}

bool is_entry(const char* text, const char* key, const char* value) {
    if (!begins_with(text, key)) {
        return false;
    }
    if (value == nullptr) {
        return true;
    }
    text = skip_blanks(text + strlen(key));
    return begins_with(text, value) &&
           isspace(static_cast<unsigned char>(text[strlen(value)])) != 0;
}

bool every_percent_is_doubled(const ConfigLine& line) {
    for (size_t i = 0; i < line.length; i++) {
        if (line.text[i] == '%' && line.text[++i] != '%') {
            return false;
        }
    }
    return true;
}

bool write_line(FILE* copy, const ConfigLine& line) {
    const bool halve = every_percent_is_doubled(line);
    for (size_t i = 0; i < line.length; i++) {
        fputc(line.text[i], copy);
        if (halve && line.text[i] == '%') {
            i++;
        }
    }
    return fflush(copy) == 0;
}

template <typename Drop>
bool copy_lines(FILE* original, FILE* copy, Drop drop) {
    ConfigLine line;
    while (next_line(original, line)) {
        const char* text = skip_blanks(line.text);
        if ((is_comment(text) || !drop(text)) && !write_line(copy, line)) {
            return false;
        }
    }
    return ferror(original) == 0;
}

bool name_temporary(const char* path, TemporaryPath& temporary) {
    const auto length = static_cast<size_t>(snprintf(temporary, sizeof temporary, "%s.tmp", path));
    return length < sizeof temporary;
}

// A temporary file without a configuration file was left by a rewrite that was killed between
// deletion and renaming: it is the configuration.
void discard_temporary(const char* temporary, const char* path, off_t staleSize) {
    if (staleSize == 0 || access(path, F_OK) == 0) {
        remove(temporary);
    }
}

bool replace_file(const char* temporary, const char* path, off_t staleSize) {
    if (remove(path) != 0 && errno != ENOENT) {
        undo_append(temporary, staleSize);
        return false;
    }
    return rename(temporary, path) == 0;
}

template <typename Drop>
int rewrite_without(const char* path, Drop drop) {
    TemporaryPath temporary;
    if (!name_temporary(path, temporary)) {
        return kNotFound;
    }
    OpenFile copy = open_config(temporary);
    if (!copy) {
        return kNotFound;
    }
    const off_t staleSize = size_of(copy.get());
    const OpenFile original = open_config(path);
    if (!original) {
        discard_temporary(temporary, path, staleSize);
        return kNotFound;
    }
    end_last_line(copy.get());
    const bool copied = copy_lines(original.get(), copy.get(), drop) && fflush(copy.get()) == 0 &&
                        fsync(fileno(copy.get())) == 0;
    const bool closed = fclose(copy.release()) == 0;
    if (!copied || !closed) {
        undo_append(temporary, staleSize);
        return kNotFound;
    }
    if (!replace_file(temporary, path, staleSize)) {
        return kNotFound;
    }
    SetConfigFileMode(path);
    return kOk;
}

} // namespace

int RemoveZrpServerName() {
    return remove_server_name(kServerConfigPath);
}

int remove_server_name(const char* path) {
    if (path == nullptr) {
        return kInvalid;
    }
    return rewrite_without(path, is_server_name);
}

int RemoveConfigEntry(const char* path, const char* key, const char* value) {
    // An empty key would match every line.
    if (path == nullptr || key == nullptr || *key == '\0') {
        return kInvalid;
    }
    return rewrite_without(path, [=](const char* text) { return is_entry(text, key, value); });
}

} // namespace zrp
