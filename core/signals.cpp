#include "core/signals.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

#include "common/transport.h"

namespace zrp {
namespace {

constexpr int kTerminationSignals[] = {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM};

std::atomic<bool> terminationRequest{false};
std::atomic<bool> stopRequest{false};
std::atomic<int> wakeFd{-1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void wake() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeFd.load(), &one, sizeof one);
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

// The terminal's size is read once. With a handler in place ncurses keeps out of resizing, and
// unlike an ignored signal it is not passed on to programs that the monitor starts.
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
    for (const int signal : kTerminationSignals) {
        install(signal, on_termination);
    }
    install(SIGTSTP, on_stop);
    install(SIGWINCH, on_resize);
}

bool termination_requested() {
    return terminationRequest.load();
}

void request_termination() {
    terminationRequest.store(true);
    IPCServInterrupt();
    wake();
}

bool take_stop_request() {
    return stopRequest.exchange(false);
}

void stop_process() {
    struct sigaction saved = {};
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(SIGTSTP, &byDefault, &saved);
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
