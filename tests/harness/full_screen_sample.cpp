// A small full-screen program: coloured text, a frame, an invisible cursor. Prints the size of the
// screen, and the code of each key until F12.
#include <clocale>

#include <ncurses.h>

namespace {

void draw() {
    mvprintw(0, 0, "size %dx%d", LINES, COLS);
    attron(COLOR_PAIR(1));
    mvaddstr(1, 2, "white on blue");
    attroff(COLOR_PAIR(1));
    attron(A_BOLD | A_REVERSE);
    mvaddstr(2, 2, "bold reverse");
    attroff(A_BOLD | A_REVERSE);
    mvaddstr(3, 2, "Gr\xc3\xbc\xc3\x9f");
    mvaddch(4, 2, ACS_ULCORNER);
    mvaddch(4, 3, ACS_HLINE);
}

} // namespace

int main() {
    std::setlocale(LC_ALL, "");
    initscr();
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    curs_set(0);
    start_color();
    init_pair(1, COLOR_WHITE, COLOR_BLUE);
    draw();
    for (int key = getch(); key != KEY_F(12) && key != ERR; key = getch()) {
        if (key == KEY_RESIZE) {
            draw();
        }
        mvprintw(5, 0, "key %-6d", key);
    }
    endwin();
    return 0;
}
