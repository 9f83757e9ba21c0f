#include "core/terminal.h"

#include <clocale>

#include "core/monitor.h"
#include "core/signals.h"
#include "core/window.h"

namespace zrp {
namespace {

struct ColourPair {
    short pair;
    short foreground;
    short background;
};

constexpr ColourPair kColourPairs[] = {
    {1, COLOR_RED, COLOR_BLACK},           {2, COLOR_GREEN, COLOR_BLACK},
    {kBoxedPair, COLOR_WHITE, COLOR_BLUE}, {4, COLOR_BLUE, COLOR_BLACK},
    {kMenuPair, COLOR_CYAN, COLOR_BLACK},  {6, COLOR_MAGENTA, COLOR_BLACK},
    {7, COLOR_WHITE, COLOR_BLACK},
};

} // namespace

void open_terminal() {
    // Not LC_ALL: numbers look the same in every locale.
    setlocale(LC_CTYPE, "");
    initscr();
    claim_terminal();
    curs_set(0);
    noecho();
    start_color();
    for (const ColourPair& colours : kColourPairs) {
        init_pair(colours.pair, colours.foreground, colours.background);
    }
    wattr_on(stdscr, COLOR_PAIR(kMenuPair), nullptr);
    cbreak();
    keypad(stdscr, TRUE);
    monitorState.screenLines = getmaxy(stdscr);
    monitorState.screenCols = getmaxx(stdscr);
    trace("maxy=%d maxx=%d LINES=%d COLS=%d\n", monitorState.screenLines, monitorState.screenCols,
          LINES, COLS);
}

void close_terminal() {
    const CursesLock lock;
    if (isendwin()) {
        return; // the program was suspended, so the shell owns the terminal already
    }
    endwin();
    curs_set(1);
    echo();
    release_terminal();
}

} // namespace zrp
