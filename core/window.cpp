#include "core/window.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <mutex>

#include "core/signals.h"

namespace zrp {
namespace {

// More than a row of any terminal can show.
constexpr size_t kTextSize = 8192;

constexpr wchar_t kReplacement = L'?';

std::recursive_mutex cursesMutex;
bool cursorIsHidden = false; // with the mutex held

constinit thread_local bool collectsUpdates = false;
std::atomic<bool> hasCollected{false};

struct Glyph {
    size_t bytes; // its length in the text
    int columns;  // its width on the terminal
    wchar_t character;
};

Glyph next_glyph(const char* text, size_t length, mbstate_t* state) {
    if (*text >= ' ' && *text <= '~' && mbsinit(state) != 0) {
        return {1, 1, static_cast<wchar_t>(*text)}; // nearly every one
    }
    wchar_t character = 0;
    const size_t bytes = mbrtowc(&character, text, length, state);
    if (bytes == 0 || bytes > length) {
        *state = {};
        return {1, 1, kReplacement};
    }
    const int columns = wcwidth(character);
    if (columns < 1 || iswprint(static_cast<wint_t>(character)) == 0) {
        return {bytes, 1, kReplacement};
    }
    return {bytes, columns, character};
}

// Writes the part of a text that fits into the columns. Whole rows of cells take a fraction of the
// time of waddstr(), which looks at each byte by itself, and setcchar() would take as long again.
void put_text(WINDOW* window, int row, int column, int columns, const char* text) {
    constexpr int kAtOnce = 128;
    mbstate_t state = {};
    const char* end = text + strlen(text);
    int count = kAtOnce;
    while (count == kAtOnce) {
        cchar_t cells[kAtOnce];
        const int start = column;
        for (count = 0; count < kAtOnce && text < end; count++) {
            const Glyph glyph = next_glyph(text, static_cast<size_t>(end - text), &state);
            if (glyph.columns > columns) {
                end = text;
                break;
            }
            cells[count] = {};
            cells[count].chars[0] = glyph.character;
            text += glyph.bytes;
            column += glyph.columns;
            columns -= glyph.columns;
        }
        mvwadd_wchnstr(window, row, start, cells, count);
    }
    wmove(window, row, column);
}

// A program that is suspended or in the background must not take the terminal from the shell.
bool may_draw() {
    return !isendwin() && !is_in_background();
}

void collect_beside_cursor(WINDOW* window) {
    const int row = getcury(newscr);
    const int column = getcurx(newscr);
    wnoutrefresh(window);
    wmove(newscr, row, column);
    leaveok(newscr, cursorIsHidden); // nobody sees where the update leaves it
}

[[gnu::format(printf, 5, 0)]] void print_list(WINDOW* window, int row, int column, int width,
                                              const char* format, va_list arguments) {
    const CursesLock lock;
    const Inside inside = inside_of(window);
    if (row < inside.firstRow || row > inside.lastRow || column < inside.firstColumn) {
        return;
    }
    char text[kTextSize];
    vsnprintf(text, sizeof text, format, arguments);
    const int room = std::min(inside.lastColumn - column + 1, width);
    put_text(window, row, std::min(column, inside.lastColumn + 1), room, text);
}

} // namespace

void hide_cursor() {
    const CursesLock lock;
    cursorIsHidden = curs_set(0) != ERR;
}

CursesLock::CursesLock() {
    cursesMutex.lock();
}

CursesLock::~CursesLock() {
    cursesMutex.unlock();
}

CursesTryLock::CursesTryLock() : isHeld(cursesMutex.try_lock()) {}

CursesTryLock::~CursesTryLock() {
    if (isHeld) {
        cursesMutex.unlock();
    }
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
    if (collectsUpdates) {
        collect_beside_cursor(window);
        hasCollected.store(true);
    } else if (may_draw()) {
        wrefresh(window);
    }
}

CollectedUpdate::CollectedUpdate() {
    collectsUpdates = true;
}

CollectedUpdate::~CollectedUpdate() {
    collectsUpdates = false;
    show();
}

void CollectedUpdate::show() {
    const CursesLock lock;
    if (has_collected_update() && may_draw()) {
        hasCollected.store(false);
        doupdate();
    }
}

bool has_collected_update() {
    return hasCollected.load();
}

void refresh_beside_cursor(WINDOW* window) {
    const CursesLock lock;
    if (may_draw()) {
        collect_beside_cursor(window);
        doupdate();
    }
}

Inside inside_of(WINDOW* window) {
    const CursesLock lock;
    const int frame = window == stdscr ? 0 : 1;
    return {frame, getmaxy(window) - 1 - frame, frame, getmaxx(window) - 1 - frame};
}

void print_at(WINDOW* window, int row, int column, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_list(window, row, column, INT_MAX, format, arguments);
    va_end(arguments);
}

void print_in(WINDOW* window, int row, int column, int width, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_list(window, row, column, width, format, arguments);
    va_end(arguments);
}

void erase_row(int row) {
    const CursesLock lock;
    wmove(stdscr, row, 0);
    wclrtoeol(stdscr);
}

void blank_row(WINDOW* window, int row, int column) {
    print_at(window, row, column, "%*s", inside_of(window).lastColumn, "");
}

} // namespace zrp
