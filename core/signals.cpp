#include "core/signals.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include "common/transport.h"
#include "core/monitor.h"

namespace zrp {
namespace {

constexpr int kTerminationSignals[] = {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM};

// The signal of the last-resort timer; a real-time signal, so that no user sends it by accident.
const int kLastResortSignal = SIGRTMIN;
constexpr int kLastResortSeconds = 5; // after the longest wait that the refresh thread may be in

std::atomic<bool> terminationRequest{false};
std::atomic<bool> stopRequest{false};
std::atomic<bool> continueRequest{false};
std::atomic<int> wakeFd{-1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

timer_t lastResortTimer{};
bool hasLastResort = false;

termios shellModes{};
bool hasShellModes = false;
std::atomic<bool> terminalIsClaimed{false};

void restore_shell_modes() {
    if (hasShellModes && !is_in_background()) {
        tcsetattr(STDIN_FILENO, TCSANOW, &shellModes);
    }
}

void resume_output() {
    termios modes = {};
    if (terminalIsClaimed.load() && !is_in_background() && tcgetattr(STDIN_FILENO, &modes) == 0) {
        modes.c_iflag &= ~static_cast<tcflag_t>(IXON);
        tcsetattr(STDIN_FILENO, TCSANOW, &modes);
    }
}

void arm_last_resort() {
    if (hasLastResort) {
        const int longestWait =
            std::max(monitorState.refreshInterval.load(), monitorState.currentWaitSeconds.load());
        itimerspec delay = {};
        delay.it_value.tv_sec = longestWait + kLastResortSeconds;
        timer_settime(lastResortTimer, 0, &delay, nullptr);
    }
}

void on_last_resort(int /*signal*/) {
    if (terminalIsClaimed.load()) {
        restore_shell_modes();
    }
    _exit(EXIT_SUCCESS);
}

void set_action(int signal, void (*handler)(int), int flags, struct sigaction* previous = nullptr) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, previous);
}

void on_termination(int /*signal*/) {
    const int savedErrno = errno;
    request_termination();
    // The main thread may be just about to stop the process, with no one to continue it.
    set_action(SIGTSTP, SIG_IGN, 0);
    errno = savedErrno;
}

void on_stop(int /*signal*/) {
    const int savedErrno = errno;
    stopRequest.store(true);
    wake_main_thread();
    errno = savedErrno;
}

void on_continue(int /*signal*/) {
    const int savedErrno = errno;
    continueRequest.store(true);
    wake_main_thread();
    errno = savedErrno;
}

// The program was stopped inside a call that reads the terminal, and continued in the background.
// The call fails, and the main thread finds out why.
void on_background_input(int /*signal*/) {}

// The same inside a call of ncurses that changes the modes of the terminal, and that ncurses
// repeats until it succeeds. The terminal stays as it is until the shell gives it back.
void on_background_output(int /*signal*/) {
    if (termination_requested()) {
        _exit(EXIT_SUCCESS);
    }
    kill(getpid(), SIGSTOP);
}

// The terminal's size is read once. A handler keeps ncurses from resizing its windows and, unlike
// SIG_IGN, is not inherited by programs that the monitor starts.
void on_resize(int /*signal*/) {}

void install(int signal, void (*handler)(int)) {
    set_action(signal, handler, SA_RESTART);
}

// A shell without job control starts its programs with the signal ignored.
void install_unless_ignored(int signal, void (*handler)(int)) {
    struct sigaction inherited = {};
    sigaction(signal, nullptr, &inherited);
    if (inherited.sa_handler != SIG_IGN) {
        install(signal, handler);
    }
}

// The parent may have blocked any signal.
void unblock_signals() {
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

void install_signal_handlers() {
    wakeFd.store(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    install(kLastResortSignal, on_last_resort);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = kLastResortSignal;
    hasLastResort = timer_create(CLOCK_MONOTONIC, &event, &lastResortTimer) == 0;
    for (const int signal : kTerminationSignals) {
        install(signal, on_termination);
    }
    install_unless_ignored(SIGTSTP, on_stop);
    install(SIGCONT, on_continue);
    set_action(SIGTTIN, on_background_input, 0);
    install(SIGTTOU, on_background_output);
    install(SIGWINCH, on_resize);
    install(SIGCHLD, SIG_DFL); // ignored, it would take away the status of shell commands
    unblock_signals();
}

void wake_main_thread() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeFd.load(), &one, sizeof one);
}

bool is_in_background() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const pid_t foreground = tcgetpgrp(stream);
        if (foreground != -1) {
            return foreground != getpgrp();
        }
    }
    return false;
}

void remember_terminal_modes() {
    hasShellModes = tcgetattr(STDIN_FILENO, &shellModes) == 0;
}

void claim_terminal() {
    terminalIsClaimed.store(true);
}

bool terminal_is_claimed() {
    return terminalIsClaimed.load();
}

void release_terminal() {
    terminalIsClaimed.store(false);
    restore_shell_modes();
}

bool termination_requested() {
    return terminationRequest.load();
}

void request_termination() {
    if (terminationRequest.exchange(true)) {
        return;
    }
    IPCServInterrupt();
    wake_main_thread();
    resume_output();
    arm_last_resort();
}

bool take_stop_request() {
    return stopRequest.exchange(false);
}

bool take_continue_request() {
    return continueRequest.exchange(false);
}

void stop_process() {
    struct sigaction saved = {};
    set_action(SIGTSTP, SIG_DFL, 0, &saved);
    if (!termination_requested()) {
        raise(SIGTSTP);
    }
    sigaction(SIGTSTP, &saved, nullptr);
}

int signal_fd() {
    return wakeFd.load();
}

void drain_signal_fd() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = read(wakeFd.load(), &count, sizeof count);
}

SignalBlock::SignalBlock() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &saved);
}

SignalBlock::~SignalBlock() {
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
}

} // namespace zrp
