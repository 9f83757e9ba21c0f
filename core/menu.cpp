#include "core/menu.h"

#include <cstdio>
#include <cstring>

#include <ncurses.h>

#include "core/window.h"

namespace zrp {
namespace {

constexpr const char* kFirstEntry = "[F12] Exit";
constexpr const char* kLastEntries[] = {"[+/-] sec.", "[tab] Next Scr"};

struct MenuWriter {
    Menu menu = {};
    int line = 0;
};

void append(MenuWriter* writer, const char* entry) {
    for (; writer->line < kMenuLines; writer->line++) {
        auto& text = writer->menu.lines[writer->line];
        const size_t used = strlen(text);
        const char* separator = used > 0 ? " " : "";
        if (used + strlen(separator) + strlen(entry) < sizeof text) {
            stpcpy(stpcpy(text + used, separator), entry);
            return;
        }
    }
}

} // namespace

Menu make_menu(std::span<const Screen> screens) {
    MenuWriter writer;
    append(&writer, kFirstEntry);
    for (const Screen& screen : screens) {
        char entry[kMenuColumns + 1];
        snprintf(entry, sizeof entry, "[F%d] %s", screen.key - KEY_F(0), screen.menuText);
        append(&writer, entry);
    }
    for (const char* entry : kLastEntries) {
        append(&writer, entry);
    }
    return writer.menu;
}

void draw_menu() {
    const Menu menu = make_menu(screen_set().screens);
    const CursesLock lock;
    for (int row = 0; row < kMenuLines; row++) {
        print_at(stdscr, row, 0, "%s", menu.lines[row]);
    }
    refresh_window(stdscr);
}

} // namespace zrp
