// Runs the line editor in a boxed window. Arguments: the maximum length and the width of the
// window. Prints each result below the window until F10; then destroys the window and waits for a
// key.

#include <cstdlib>

#include "core/input.h"
#include "core/line_editor.h"
#include "core/monitor.h"
#include "core/signals.h"
#include "core/window.h"

int main(int argc, char** argv) {
    using namespace zrp;
    const int maxLength = argc > 1 ? atoi(argv[1]) : 8;
    const int width = argc > 2 ? atoi(argv[2]) : 40;
    install_signal_handlers();
    initscr();
    claim_terminal();
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    refresh_window(stdscr);
    WINDOW* window = create_newwin(5, width, 0, 0);
    keypad(window, TRUE);
    int fkeyHit = 0;
    int fkey = 0;
    int rc = 0;
    for (int round = 1; rc == 0 && fkey != KEY_F(10); round++) {
        char buffer[128] = "untouched";
        print_at(window, 1, 1, "%d? ", round);
        print_at(window, 2, 1, "old text");
        wmove(window, 1, 4);
        refresh_window(window);
        fkey = 0;
        rc = zrptop_wgetnstr(window, buffer, maxLength, &fkeyHit, &fkey);
        const CursesLock lock;
        mvprintw(5 + round, 0, "%d: rc=%d hit=%d key=%d [%s]", round, rc, fkeyHit, fkey, buffer);
        refresh_window(stdscr);
    }
    destroy_win(window);
    print_at(stdscr, 20, 0, "destroyed");
    refresh_window(stdscr);
    read_key();
    endwin();
    return rc == 0 ? EXIT_SUCCESS : 3;
}
