// A small full-screen program: coloured text, a frame, an invisible cursor. Prints the size of the
// screen, and the code of each key until F12.
#include <clocale>
#include <csignal>
#include <poll.h>

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

// The next key. SIGWINCH arrives during the wait alone: between a look for it and a read that
// blocks it would be seen only with the next key. Returns ERR when the terminal is gone.
int next_key(const sigset_t& duringWait) {
    pollfd input = {.fd = 0, .events = POLLIN, .revents = 0};
    int key = getch();
    while (key == ERR && (input.revents & POLLHUP) == 0) {
        ppoll(&input, 1, nullptr, &duringWait);
        key = getch();
    }
    return key;
}

} // namespace

int main() {
    sigset_t resize;
    sigset_t duringWait;
    sigemptyset(&resize);
    sigaddset(&resize, SIGWINCH);
    sigprocmask(SIG_BLOCK, &resize, &duringWait);
    std::setlocale(LC_ALL, "");
    initscr();
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
    start_color();
    init_pair(1, COLOR_WHITE, COLOR_BLUE);
    draw();
    for (int key = next_key(duringWait); key != KEY_F(12) && key != ERR;
         key = next_key(duringWait)) {
        if (key == KEY_RESIZE) {
            draw();
        }
        mvprintw(5, 0, "key %-6d", key);
    }
    endwin();
    return 0;
}
