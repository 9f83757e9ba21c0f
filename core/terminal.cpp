#include "core/terminal.h"

#include <clocale>
#include <unistd.h>

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

// Takes the terminal back, unless the program is to end.
void return_to_foreground() {
    wait_for_foreground();
    take_continue_request();
    if (!termination_requested()) {
        claim_terminal();
        reset_prog_mode();
        keypad(stdscr, TRUE);
        wrefresh(curscr);
    }
}

} // namespace

void open_terminal() {
    // Not LC_ALL: numbers look the same in every locale.
    setlocale(LC_CTYPE, "");
    initscr();
    claim_terminal();
    hide_cursor();
    noecho();
    start_color();
    for (const ColourPair& colours : kColourPairs) {
        init_pair(colours.pair, colours.foreground, colours.background);
    }
    wattr_on(stdscr, COLOR_PAIR(kMenuPair), nullptr);
    cbreak();
    keypad(stdscr, TRUE);
    typeahead(-1); // keys wait their turn anyway: no update stops for them
    monitorState.screenLines = getmaxy(stdscr);
    monitorState.screenCols = getmaxx(stdscr);
    trace("maxy=%d maxx=%d LINES=%d COLS=%d\n", monitorState.screenLines, monitorState.screenCols,
          LINES, COLS);
}

void close_terminal() {
    const CursesLock lock;
    if (isendwin() || !terminal_is_claimed() || is_in_background()) {
        return; // the program was stopped, so the shell owns the terminal already
    }
    endwin();
    curs_set(1);
    echo();
    release_terminal();
}

void suspend_terminal() {
    const CursesLock lock;
    if (!is_in_background()) {
        endwin();
    }
    release_terminal();
    stop_process();
    return_to_foreground();
}

void reclaim_terminal() {
    const CursesLock lock;
    if (is_in_background()) {
        release_terminal();
    }
    return_to_foreground();
}

void wait_for_foreground() {
    constexpr useconds_t kGraceMicroseconds = 100000;
    while (is_in_background() && !termination_requested()) {
        take_continue_request();
        stop_process();
        if (is_in_background() && !take_continue_request()) {
            usleep(kGraceMicroseconds); // a sanitizer delivers the signal late
            if (!take_continue_request()) {
                request_termination(); // nobody has stopped it, and nobody will continue it
            }
        }
    }
}

} // namespace zrp
