#include "tools/zrpdemo/live.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>

namespace zrp::demo {
namespace {

// How often to look for the end of the monitor when the kernel does not report it.
constexpr int kPollMs = 200;

harness::Descriptor catch_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // the child starts with an empty mask
    harness::Descriptor caught(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!caught) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return caught;
}

// Signals of keys like Ctrl-C reach the monitor too, because it is in the same foreground process
// group. Signals from another process do not, nor does SIGHUP, which goes to the session leader.
bool reached_both(const signalfd_siginfo& info) {
    return info.ssi_code == SI_KERNEL && info.ssi_signo != SIGHUP;
}

void pass_on(const harness::Descriptor& caught, harness::ChildProcess& monitor) {
    signalfd_siginfo info{};
    while (read(caught.get(), &info, sizeof info) == sizeof info) {
        if (!reached_both(info)) {
            monitor.send_signal(static_cast<int>(info.ssi_signo));
        }
    }
}

} // namespace

harness::ExitStatus run_live(const std::string& monitor) {
    const harness::Descriptor caught = catch_signals();
    harness::ChildProcess process({.arguments = {monitor}});
    std::optional<harness::ExitStatus> status;
    while (!(status = process.wait(harness::milliseconds{0}))) {
        std::array<pollfd, 2> waits = {
            {{caught.get(), POLLIN, 0}, {process.exit_descriptor(), POLLIN, 0}}};
        poll(waits.data(), waits.size(), process.exit_descriptor() < 0 ? kPollMs : -1);
        pass_on(caught, process);
    }
    return *status;
}

} // namespace zrp::demo
