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
std::atomic<int> wakeFd{-1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void wake() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeFd.load(), &one, sizeof one);
}

timer_t lastResortTimer{};
bool hasLastResort = false;

termios shellModes{};
bool hasShellModes = false;
std::atomic<bool> terminalIsClaimed{false};

void restore_shell_modes() {
    if (hasShellModes) {
        tcsetattr(STDIN_FILENO, TCSANOW, &shellModes);
    }
}

void resume_output() {
    termios modes = {};
    if (terminalIsClaimed.load() && tcgetattr(STDIN_FILENO, &modes) == 0) {
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

void on_termination(int /*signal*/) {
    const int savedErrno = errno;
    request_termination();
    errno = savedErrno;
}

void on_stop(int /*signal*/) {
    const int savedErrno = errno;
    stopRequest.store(true);
    wake();
    errno = savedErrno;
}

// The terminal's size is read once. A handler keeps ncurses from resizing its windows and, unlike
// SIG_IGN, is not inherited by programs that the monitor starts.
void on_resize(int /*signal*/) {}

void install(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
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
    install(SIGTSTP, on_stop);
    install(SIGWINCH, on_resize);
}

void remember_terminal_modes() {
    hasShellModes = tcgetattr(STDIN_FILENO, &shellModes) == 0;
}

void claim_terminal() {
    terminalIsClaimed.store(true);
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
    wake();
    resume_output();
    arm_last_resort();
}

bool take_stop_request() {
    return stopRequest.exchange(false);
}

void stop_process() {
    struct sigaction saved = {};
    struct sigaction defaultAction = {};
    defaultAction.sa_handler = SIG_DFL;
    sigaction(SIGTSTP, &defaultAction, &saved);
    raise(SIGTSTP);
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
