#include "common/config/config_lines.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace zrp {

OpenFile open_config(const char* path) {
    OpenFile file(fopen(path, "a+e"));
    if (file) {
        rewind(file.get()); // the C standard does not say where an append stream starts to read
    }
    return file;
}

bool next_line(FILE* file, ConfigLine& line) {
    line.length = 0;
    while (line.length < sizeof line.text - 1) {
        const int c = fgetc(file);
        if (c == EOF) {
            break;
        }
        line.text[line.length++] = static_cast<char>(c);
        if (c == '\n') {
            break;
        }
    }
    line.text[line.length] = '\0';
    return line.length > 0;
}

size_t split_words(const char* text, ConfigWords& words, size_t maxWords) {
    size_t count = 0;
    for (text += strspn(text, kConfigWhiteSpace); *text != '\0' && count < maxWords;
         text += strspn(text, kConfigWhiteSpace)) {
        const size_t length = std::min(strcspn(text, kConfigWhiteSpace), sizeof(ConfigWord) - 1);
        memcpy(words[count], text, length);
        words[count][length] = '\0';
        count++;
        text += length;
    }
    return count;
}

bool is_comment(const char* word) {
    return *word == '#' || *word == ';';
}

const char* skip_blanks(const char* text) {
    return text + strspn(text, " \t");
}

off_t size_of(int file) {
    struct stat status = {};
    return fstat(file, &status) == 0 ? status.st_size : -1;
}

bool ends_within_line(int file) {
    char last = '\n';
    // An empty file has no byte at this place.
    return pread(file, &last, 1, size_of(file) - 1) == 1 && last != '\n';
}

bool write_all(int file, const char* bytes, size_t count) {
    while (count > 0) {
        const ssize_t written = write(file, bytes, count);
        if (written <= 0) {
            if (written < 0 && errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes += written;
        count -= static_cast<size_t>(written);
    }
    return true;
}

void undo_append(int file, off_t sizeBefore) {
    if (sizeBefore >= 0) {
        // The caller reports the failed write; nothing more can be done if this fails too.
        [[maybe_unused]] const int ignored = ftruncate(file, sizeBefore);
    }
}

void set_file_mode(int file) {
    struct stat status = {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
        fchmod(file, kConfigFileMode);
    }
}

bool name_temporary(const char* path, TemporaryPath& temporary) {
    const auto length = static_cast<size_t>(snprintf(temporary, sizeof temporary, "%s.tmp", path));
    return length < sizeof temporary;
}

bool complete_rewrite(const char* path) {
    TemporaryPath temporary;
    struct stat status = {};
    if (!name_temporary(path, temporary) || lstat(temporary, &status) != 0 ||
        !S_ISREG(status.st_mode) || status.st_size == 0) {
        return true;
    }
    // A reader that came in that moment has created an empty file.
    if (lstat(path, &status) == 0 ? !S_ISREG(status.st_mode) || status.st_size != 0
                                  : errno != ENOENT) {
        return true;
    }
    return rename(temporary, path) == 0;
}

} // namespace zrp
