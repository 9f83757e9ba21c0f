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

// Whether a shell runs the program beside itself: touching the terminal would stop it again.
bool is_in_background() {
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    return foreground != -1 && foreground != getpgrp();
}

// Gives the terminal back to the shell until the process is continued in the foreground. When it
// was continued to end, the terminal stays the shell's.
void stop_for_a_while() {
    constexpr useconds_t kNapMicroseconds = 100000;
    const CursesLock lock;
    endwin();
    release_terminal();
    stop_process();
    while (is_in_background() && !termination_requested()) {
        usleep(kNapMicroseconds); // stopping takes no effect when the shell is gone
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
            stop_for_a_while();
            continue; // it may have been continued to end
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
