#include "common/config/config_removers.h"

#include <cctype>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/ascii_case.h"
#include "common/config/config_lines.h"
#include "common/config/config_lock.h"
#include "common/result.h"

namespace zrp {
namespace {

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

// The line as a rewrite writes it.
ConfigLine copied(const ConfigLine& line) {
    if (!every_percent_is_doubled(line)) {
        return line;
    }
    ConfigLine halved;
    halved.length = 0;
    for (size_t i = 0; i < line.length; i++) {
        halved.text[halved.length++] = line.text[i];
        if (line.text[i] == '%') {
            i++;
        }
    }
    return halved;
}

// Each line is written by itself.
template <typename Drop>
bool copy_lines(FILE* original, int copy, Drop drop) {
    ConfigLine line;
    while (next_line(original, line)) {
        const char* text = skip_blanks(line.text);
        if (is_comment(text) || !drop(text)) {
            const ConfigLine out = copied(line);
            if (!write_all(copy, out.text, out.length)) {
                return false;
            }
        }
    }
    return ferror(original) == 0;
}

// Whether the bytes are the line's copy, or its beginning when the copy was cut.
bool is_copy_of(const ConfigLine& bytes, const ConfigLine& line) {
    const ConfigLine whole = copied(line);
    const bool isCut = bytes.text[bytes.length - 1] != '\n';
    return (whole.length == bytes.length || (isCut && whole.length > bytes.length)) &&
           memcmp(whole.text, bytes.text, bytes.length) == 0;
}

// Whether the temporary file holds nothing but copied lines of the configuration file: it was left
// by a rewrite that was killed before the deletion.
bool is_leftover(FILE* copy, FILE* original) {
    ConfigLine bytes;
    ConfigLine line;
    while (next_line(copy, bytes)) {
        do {
            if (!next_line(original, line)) {
                return false;
            }
        } while (!is_copy_of(bytes, line));
    }
    return ferror(copy) == 0;
}

bool are_one_file(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether the path still names the open file.
bool is_named(const char* path, int file) {
    struct stat named = {};
    struct stat open = {};
    return stat(path, &named) == 0 && fstat(file, &open) == 0 && are_one_file(named, open);
}

bool is_changed(const struct stat& before, int file) {
    struct stat now = {};
    return fstat(file, &now) != 0 || now.st_size != before.st_size ||
           now.st_mtim.tv_sec != before.st_mtim.tv_sec ||
           now.st_mtim.tv_nsec != before.st_mtim.tv_nsec;
}

// Opens as open_config does, but only a regular file without another name: neither what a link
// leads to, nor what would make the caller wait.
OpenFile open_temporary(const char* path) {
    const int file =
        open(path, O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
    if (file < 0) {
        return nullptr;
    }
    struct stat status = {};
    OpenFile stream(fdopen(file, "a+"));
    if (!stream) {
        close(file);
        return nullptr;
    }
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
        return nullptr;
    }
    return stream;
}

// A file without an end, such as a device, would be copied for ever.
OpenFile open_original(const char* path, struct stat& status) {
    OpenFile file = open_config(path);
    if (!file || fstat(fileno(file.get()), &status) != 0 || !S_ISREG(status.st_mode)) {
        return nullptr;
    }
    return file;
}

struct Rewrite {
    const char* path;
    const char* temporary;
    FILE* original;
    FILE* copy;
    struct stat before; // of the original, before it was read
};

// Whether both paths still name what was opened, and not one file in both places, which would be
// copied into itself without end: other programs need not lock.
bool has_its_files(const Rewrite& rewrite) {
    struct stat copy = {};
    return fstat(fileno(rewrite.copy), &copy) == 0 && !are_one_file(copy, rewrite.before) &&
           is_named(rewrite.path, fileno(rewrite.original)) &&
           is_named(rewrite.temporary, fileno(rewrite.copy));
}

// Appends the lines that stay to the temporary file, and brings them to the disk.
template <typename Drop>
bool make_copy(const Rewrite& rewrite, Drop drop) {
    const int copy = fileno(rewrite.copy);
    if (ends_within_line(copy) && !write_all(copy, "\n", 1)) {
        return false;
    }
    rewind(rewrite.original);
    return copy_lines(rewrite.original, copy, drop) && fsync(copy) == 0;
}

// The steps with both files open.
template <typename Drop>
int rewrite_files(const Rewrite& rewrite, Drop drop) {
    const int copy = fileno(rewrite.copy);
    if (!has_its_files(rewrite) ||
        (is_leftover(rewrite.copy, rewrite.original) && ftruncate(copy, 0) != 0)) {
        return kNotFound;
    }
    const off_t staleSize = size_of(copy);
    const bool isReady = make_copy(rewrite, drop) &&
                         !is_changed(rewrite.before, fileno(rewrite.original)) &&
                         has_its_files(rewrite);
    if (!isReady || remove(rewrite.path) != 0) {
        // Under another name it may be the configuration by now.
        if (is_named(rewrite.temporary, copy)) {
            undo_append(copy, staleSize);
        }
        return kNotFound;
    }
    if (rename(rewrite.temporary, rewrite.path) != 0) {
        return kNotFound;
    }
    set_file_mode(copy);
    return kOk;
}

template <typename Drop>
int rewrite_without(const char* path, Drop drop) {
    TemporaryPath temporary;
    if (!name_temporary(path, temporary)) {
        return kNotFound;
    }
    const ConfigLock lock(path);
    if (!complete_rewrite(path)) {
        return kNotFound;
    }
    const OpenFile copy = open_temporary(temporary);
    if (!copy) {
        return kNotFound;
    }
    struct stat before = {};
    const OpenFile original = open_original(path, before);
    if (!original) {
        remove(temporary);
        return kNotFound;
    }
    return rewrite_files({path, temporary, original.get(), copy.get(), before}, drop);
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
