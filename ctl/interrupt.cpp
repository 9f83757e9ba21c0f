#include "ctl/interrupt.h"

#include <atomic>
#include <csignal>
#include <ctime>

#include "common/transport.h"
#include "ctl/failure.h"

namespace zrp::ctl {
namespace {

std::atomic<bool> interrupted{false};

extern "C" void note_interrupt(int /*signal*/) {
    interrupted = true;
    IPCServInterrupt();
}

// A read that waits for a person ends as well.
void catch_signal(int signal) {
    struct sigaction action = {};
    action.sa_handler = note_interrupt;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

timespec as_timespec(milliseconds time) {
    constexpr int64_t kMillisecondsOfASecond = 1000;
    constexpr int64_t kNanosecondsOfAMillisecond = 1'000'000;
    return {time.count() / kMillisecondsOfASecond,
            time.count() % kMillisecondsOfASecond * kNanosecondsOfAMillisecond};
}

} // namespace

void let_a_closed_pipe_end_it() {
    std::signal(SIGPIPE, SIG_DFL);
}

void install_handlers(bool isRepeating) {
    catch_signal(SIGINT);
    if (isRepeating) {
        catch_signal(SIGTERM);
    }
}

bool was_interrupted() {
    return interrupted;
}

void sleep_for(milliseconds time) {
    // Short enough that a signal just before a sleep goes unnoticed for no longer.
    constexpr milliseconds kSlice{50};
    const Clock::time_point end = Clock::now() + time;
    for (milliseconds left = time; left > milliseconds{0};
         left = std::chrono::ceil<milliseconds>(end - Clock::now())) {
        if (was_interrupted()) {
            throw Failure{Kind::kInterrupted, "interrupted"};
        }
        const timespec slice = as_timespec(std::min(left, kSlice));
        nanosleep(&slice, nullptr);
    }
}

} // namespace zrp::ctl
