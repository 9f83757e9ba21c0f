#include "core/line_editor.h"

#include <algorithm>

#include "common/result.h"
#include "core/input.h"
#include "core/keyboard.h"
#include "core/monitor.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr const char* kEditorTag = "zrptop_wgetnstr";

constexpr int kLineFeed = 10;
constexpr int kCarriageReturn = 13;

struct KeyMapping {
    int typed;
    int reported;
};

constexpr KeyMapping kSpecialKeys[] = {
    {'\t', kNextScreenKey},         {KEY_RIGHT, kNextScreenKey},     {KEY_NPAGE, kNextScreenKey},
    {KEY_BTAB, kPreviousScreenKey}, {KEY_PPAGE, kPreviousScreenKey}, {KEY_LEFT, kPreviousScreenKey},
    {KEY_EXIT, KEY_F(12)},          {KEY_HOME, kStartScreen},
};

// The cells that show the line.
struct Field {
    WINDOW* window;
    int row;
    int column;
    int width;
};

Field field_at_cursor(WINDOW* window) {
    const CursesLock lock;
    int row = 0;
    int column = 0;
    getyx(window, row, column);
    const Inside inside = inside_of(window);
    column = std::max(inside.firstColumn, std::min(column, inside.lastColumn - kMinFieldWidth + 1));
    return {window, row, column, std::max(0, inside.lastColumn - column + 1)};
}

void show(const Field& field, const char* start, const char* end) {
    const CursesLock lock;
    const auto shown = std::min(end - start, static_cast<ptrdiff_t>(field.width));
    print_at(field.window, field.row, field.column, "%*s", field.width, "");
    wmove(field.window, field.row, field.column);
    for (const char* at = end - shown; at < end; at++) {
        const bool printable = *at >= ' ' && *at <= '~';
        waddch(field.window, static_cast<chtype>(printable ? *at : '?'));
    }
    wrefresh(field.window);
}

// Draws nothing on an empty line, which leaves the old contents of the field. The field is redrawn
// after each character, because a line that is longer than the field shows its end.
void erase(const Field& field, const char* buffer, char** cursor, ptrdiff_t count) {
    const CursesLock lock;
    for (; count > 0 && *cursor > buffer; count--) {
        *cursor = erase_last_char(field.window, buffer, *cursor);
        show(field, buffer, *cursor);
    }
}

// The code reported for a special key, or ERR for an ordinary key.
int special_code(int key) {
    for (const KeyMapping& mapping : kSpecialKeys) {
        if (mapping.typed == key) {
            return mapping.reported;
        }
    }
    return is_special_key(key) ? key : ERR;
}

int kill_key() {
    const CursesLock lock;
    return static_cast<unsigned char>(killchar());
}

bool is_enter(int key) {
    return key == kLineFeed || key == kCarriageReturn || key == KEY_ENTER;
}

bool is_erase(int key) {
    return key == KEY_DC || key == KEY_BACKSPACE;
}

} // namespace

char* erase_last_char(WINDOW* window, const char* bufferStart, char* cursor) {
    if (cursor <= bufferStart) {
        return cursor;
    }
    cursor[-1] = '\0';
    const CursesLock lock;
    int row = 0;
    int column = 0;
    getyx(window, row, column);
    mvwaddch(window, row, column - 1, ' ');
    wmove(window, row, column - 1);
    wrefresh(window);
    return cursor - 1;
}

int zrptop_wgetnstr(WINDOW* window, char* buffer, int maxLength, int* fkeyHit, int* fkey) {
    if (window == nullptr || buffer == nullptr) {
        return -1;
    }
    *fkeyHit = 0;
    const int killKey = kill_key();
    const Field field = field_at_cursor(window);
    char* cursor = buffer;
    for (;;) {
        const int key = read_key();
        if (key == ERR) {
            *cursor = '\0';
            return -1;
        }
        trace("%s: getch() key=%d\n", kEditorTag, key);
        if (is_enter(key)) {
            *cursor = '\0';
            return kOk;
        }
        if (is_erase(key)) {
            trace("%s: erasec key detected key=%d\n", kEditorTag, key);
            erase(field, buffer, &cursor, 1);
        } else if (key == killKey) {
            trace("%s: killc key detected key=%d\n", kEditorTag, key);
            erase(field, buffer, &cursor, cursor - buffer);
        } else if (const int code = special_code(key); code != ERR) {
            trace("%s: special key detected key=%d\n", kEditorTag, code);
            *fkeyHit = 1;
            *fkey = code;
            *buffer = '\0';
            return kOk;
        } else if (maxLength < 0 || cursor - buffer < maxLength) {
            trace("%s: normal key detected key=%d\n", kEditorTag, key);
            *cursor++ = static_cast<char>(key);
            show(field, buffer, cursor);
        }
    }
}

} // namespace zrp
