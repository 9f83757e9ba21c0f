#include "core/window.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <mutex>

namespace zrp {
namespace {

// More than a row of any terminal can show.
constexpr size_t kTextSize = 8192;

constexpr char kReplacement = '?';

std::recursive_mutex cursesMutex;

struct Glyph {
    size_t bytes;   // its length in the text
    int columns;    // its width on the terminal
    bool printable; // or it is replaced
};

Glyph next_glyph(const char* text, size_t length, mbstate_t* state) {
    wchar_t character = 0;
    const size_t bytes = mbrtowc(&character, text, length, state);
    if (bytes == 0 || bytes > length) {
        *state = {};
        return {1, 1, false};
    }
    const int columns = wcwidth(character);
    if (columns < 1 || iswprint(static_cast<wint_t>(character)) == 0) {
        return {bytes, 1, false};
    }
    return {bytes, columns, true};
}

// Replaces what is not printable and cuts the text to the columns, in place.
void make_printable(char* text, int columns) {
    mbstate_t state = {};
    const char* end = text + strlen(text);
    char* kept = text;
    for (const char* at = text; at < end;) {
        const Glyph glyph = next_glyph(at, static_cast<size_t>(end - at), &state);
        columns -= glyph.columns;
        if (columns < 0) {
            break;
        }
        if (glyph.printable) {
            memmove(kept, at, glyph.bytes);
            kept += glyph.bytes;
        } else {
            *kept++ = kReplacement;
        }
        at += glyph.bytes;
    }
    *kept = '\0';
}

} // namespace

CursesLock::CursesLock() {
    cursesMutex.lock();
}

CursesLock::~CursesLock() {
    cursesMutex.unlock();
}

WINDOW* create_newwin(int height, int width, int startY, int startX) {
    const CursesLock lock;
    WINDOW* window = newwin(height, width, startY, startX);
    if (window == nullptr) {
        return nullptr;
    }
    wattr_on(window, COLOR_PAIR(kBoxedPair), nullptr);
    wbkgd(window, COLOR_PAIR(kBoxedPair));
    werase(window);
    box(window, 0, 0);
    refresh_window(window);
    return window;
}

void destroy_win(WINDOW* window) {
    if (window == nullptr) {
        return;
    }
    const CursesLock lock;
    wborder(window, ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ');
    wclear(window);
    refresh_window(window);
    delwin(window);
}

void draw_frame(WINDOW* window) {
    const CursesLock lock;
    box(window, 0, 0);
}

void clear_window(WINDOW* window) {
    const CursesLock lock;
    wclear(window);
}

void refresh_window(WINDOW* window) {
    const CursesLock lock;
    if (!isendwin()) { // else the program is suspended, and wrefresh would take the terminal back
        wrefresh(window);
    }
}

Inside inside_of(WINDOW* window) {
    const CursesLock lock;
    const int frame = window == stdscr ? 0 : 1;
    return {frame, getmaxy(window) - 1 - frame, frame, getmaxx(window) - 1 - frame};
}

void print_at(WINDOW* window, int row, int column, const char* format, ...) {
    const Inside inside = inside_of(window);
    if (row < inside.firstRow || row > inside.lastRow || column < inside.firstColumn) {
        return;
    }
    char text[kTextSize];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    make_printable(text, std::max(0, inside.lastColumn - column + 1));

    const CursesLock lock;
    wmove(window, row, std::min(column, inside.lastColumn + 1));
    waddstr(window, text);
}

} // namespace zrp
