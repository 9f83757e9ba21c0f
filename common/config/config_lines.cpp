#include "common/config/config_lines.h"

#include <algorithm>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace zrp {
namespace {

constexpr const char* kWhiteSpace = " \t\n\v\f\r";

} // namespace

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
    for (text += strspn(text, kWhiteSpace); *text != '\0' && count < maxWords;
         text += strspn(text, kWhiteSpace)) {
        const size_t length = std::min(strcspn(text, kWhiteSpace), sizeof(ConfigWord) - 1);
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

void end_last_line(FILE* file) {
    char last = '\n';
    // An empty file has no byte at this place.
    if (pread(fileno(file), &last, 1, size_of(file) - 1) == 1 && last != '\n') {
        fputc('\n', file);
    }
}

off_t size_of(FILE* file) {
    struct stat status = {};
    return fstat(fileno(file), &status) == 0 ? status.st_size : -1;
}

void undo_append(const char* path, off_t sizeBefore) {
    if (sizeBefore >= 0) {
        // The caller reports the failed write; nothing more can be done if this fails too.
        [[maybe_unused]] const int ignored = truncate(path, sizeBefore);
    }
}

} // namespace zrp
