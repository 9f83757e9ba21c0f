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

// Whether the terminal is gone, asked when input was announced but there was no key to read.
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

// Whether the program is a background job of a shell, in which case touching the terminal would
// stop it again.
bool is_in_background() {
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    return foreground != -1 && foreground != getpgrp();
}

// Returns the terminal to the shell until the process is continued in the foreground. If it is
// continued in order to end, the shell keeps the terminal.
void suspend() {
    constexpr useconds_t kPauseMicroseconds = 100000;
    const CursesLock lock;
    endwin();
    release_terminal();
    stop_process();
    while (is_in_background() && !termination_requested()) {
        usleep(kPauseMicroseconds); // without a shell the stop has no effect
        stop_process();
    }
    if (!termination_requested()) {
        claim_terminal();
        wrefresh(curscr);
    }
}

} // namespace

int read_key(WINDOW* window) {
    bool announced = false;
    while (!termination_requested()) {
        if (take_stop_request()) {
            suspend();
            continue; // it may have been continued in order to end
        }
        // ncurses may have read ahead, so it is asked before waiting for new input.
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
