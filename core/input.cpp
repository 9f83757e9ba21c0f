#include "core/input.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "core/signals.h"
#include "core/window.h"

namespace zrp {
namespace {

int take_key(WINDOW* window) {
    const CursesLock lock;
    nodelay(window, TRUE);
    return wgetch(window);
}

// Waits for input or a signal. True when there is input to look at.
bool wait_for_input() {
    pollfd watched[2] = {{STDIN_FILENO, POLLIN, 0}, {signal_fd(), POLLIN, 0}};
    if (poll(watched, 2, -1) <= 0) {
        return false;
    }
    if (watched[1].revents != 0) {
        drain_signal_fd();
    }
    return watched[0].revents != 0;
}

// After input was announced and no key came of it: has the terminal gone?
bool terminal_is_lost() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    poll(&input, 1, 0);
    if ((input.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        return true;
    }
    int waiting = 0;
    return (input.revents & POLLIN) != 0 &&
           (ioctl(STDIN_FILENO, FIONREAD, &waiting) < 0 || waiting == 0);
}

// Gives the terminal back to the shell for as long as the process is stopped.
void stop_for_a_while() {
    const CursesLock lock;
    endwin();
    stop_process();
    wrefresh(curscr);
}

} // namespace

int read_key(WINDOW* window) {
    bool announced = false;
    while (!termination_requested()) {
        if (take_stop_request()) {
            stop_for_a_while();
        }
        // ncurses may hold bytes that it read ahead: ask it before waiting for new ones.
        const int key = take_key(window);
        if (key != ERR && key != KEY_RESIZE) {
            return key;
        }
        if (key == ERR && announced && terminal_is_lost()) {
            request_termination();
        } else {
            announced = wait_for_input();
        }
    }
    return ERR;
}

bool is_special_key(int key) {
    const CursesLock lock;
    return has_key(key) != 0;
}

} // namespace zrp
