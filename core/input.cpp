#include "core/input.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <ncurses.h>

#include "common/wait_listener.h"
#include "core/keyboard.h"
#include "core/signals.h"
#include "core/status_row.h"
#include "core/terminal.h"

namespace zrp {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The look at what is waited for if the system has no wake descriptor.
constexpr milliseconds kBlindLook{10};

// After this time a key that ends the program no longer waits its turn. No healthy daemon makes it
// wait so long. Until then the keys before it come first, one of which may open a dialog, and F1
// only leaves a dialog.
constexpr milliseconds kEndingKeyPatience{500};

// As many as a terminal keeps. Further keys are lost, as they are there.
constexpr int kMaxTypedAhead = 4096;

bool is_ending_key(int key) {
    return key == KEY_F(1) || key == KEY_F(12) || key == KEY_EXIT;
}

// The keys that wait their turn. Main thread only.
struct TypedAhead {
    short keys[kMaxTypedAhead];
    int count = 0;
    Clock::time_point endingKeyCame; // the first of those that wait

    [[nodiscard]] bool has_ending_key() const {
        return std::any_of(keys, keys + count, is_ending_key);
    }
};

TypedAhead typedAhead;
std::atomic<bool> waitsUntilClear{false};
Clock::time_point lastByteCame;
bool terminalIsLost = false;

void keep_key(int key) {
    if (is_ending_key(key) && !typedAhead.has_ending_key()) {
        typedAhead.endingKeyCame = Clock::now();
    }
    if (typedAhead.count < kMaxTypedAhead) {
        typedAhead.keys[typedAhead.count++] = static_cast<short>(key);
    } else if (is_ending_key(key)) {
        typedAhead.keys[kMaxTypedAhead - 1] = static_cast<short>(key);
    }
}

// The first key that waits, or ERR.
int take_key() {
    if (typedAhead.count == 0) {
        return ERR;
    }
    const int key = typedAhead.keys[0];
    std::copy(typedAhead.keys + 1, typedAhead.keys + typedAhead.count, typedAhead.keys);
    typedAhead.count--;
    if (is_ending_key(key)) {
        typedAhead.endingKeyCame = Clock::now(); // of the next one, if there is one
    }
    return key;
}

void lose_terminal() {
    terminalIsLost = true;
    request_termination();
}

// One byte at a time, so that what is typed after the last key is left to the shell.
void read_byte() {
    unsigned char byte = 0;
    const ssize_t size = read(STDIN_FILENO, &byte, sizeof byte);
    if (size == sizeof byte) {
        lastByteCame = Clock::now();
        add_typed_byte(byte);
    } else if (size == 0 || (errno != EINTR && errno != EAGAIN)) {
        lose_terminal();
    }
}

void read_terminal(short events) {
    if ((events & POLLIN) != 0) {
        read_byte();
    } else if (events != 0) {
        lose_terminal();
    }
}

// How long ncurses would wait for the rest of a function key.
Clock::time_point end_of_incomplete_key() {
    return lastByteCame + milliseconds{get_escdelay()};
}

void keep_complete_keys() {
    for (int key = ERR; (key = next_typed_key(Clock::now() >= end_of_incomplete_key())) != ERR;) {
        keep_key(key);
    }
}

int milliseconds_until(Clock::time_point time) {
    const auto left = std::chrono::ceil<milliseconds>(time - Clock::now());
    return static_cast<int>(std::max(left, milliseconds{0}).count());
}

// Of two timeouts, of which -1 is none.
int shorter(int timeout, int other) {
    return timeout < 0 || other < 0 ? std::max(timeout, other) : std::min(timeout, other);
}

Clock::time_point end_of_patience() {
    return typedAhead.endingKeyCame + kEndingKeyPatience;
}

// In milliseconds, -1 for none.
int longest_wait() {
    int timeout = signal_fd() < 0 ? static_cast<int>(kBlindLook.count()) : -1;
    if (key_is_incomplete()) {
        timeout = shorter(timeout, milliseconds_until(end_of_incomplete_key()));
    }
    if (typedAhead.has_ending_key() && !termination_requested()) {
        timeout = shorter(timeout, milliseconds_until(end_of_patience()));
    }
    return timeout;
}

void act_on_stop_and_continue() {
    if (take_stop_request()) {
        suspend_terminal();
    } else if (take_continue_request()) {
        reclaim_terminal();
    }
}

bool ending_key_is_overdue() {
    return typedAhead.has_ending_key() && Clock::now() >= end_of_patience();
}

struct Job {
    int (*work)(void* context);
    void* context;
    int result;
    std::atomic<int> isRunning{1};
};

void* run_job(void* argument) {
    auto* job = static_cast<Job*>(argument);
    set_wait_listener(wake_main_thread); // which looks at the status row
    job->result = job->work(job->context);
    job->isRunning.store(0);
    wake_main_thread();
    return nullptr;
}

} // namespace

int read_key() {
    for (;;) {
        if (termination_requested()) {
            return ERR;
        }
        const int key = take_key();
        if (key != ERR) {
            return key;
        }
        wait_for_event();
    }
}

void wait_until_clear(const std::atomic<int>& flag) {
    waitsUntilClear.store(true); // before the flag is looked at: whoever clears it later sees it
    while (flag.load() != 0) {
        if (!termination_requested() && ending_key_is_overdue()) {
            request_termination();
        }
        wait_for_event();
    }
    waitsUntilClear.store(false);
}

bool waits_until_clear() {
    return waitsUntilClear.load();
}

// On the way to the end the terminal is watched for its loss alone. A program without a terminal of
// its own, such as a unit test, leaves the standard input alone.
void wait_for_event() {
    if (!termination_requested()) {
        act_on_stop_and_continue();
    }
    const short events = termination_requested() ? 0 : POLLIN;
    pollfd watched[2] = {{terminalIsLost || !terminal_is_claimed() ? -1 : STDIN_FILENO, events, 0},
                         {signal_fd(), POLLIN, 0}};
    const int statusLook = termination_requested() ? -1 : show_status_row();
    if (poll(watched, std::size(watched), shorter(longest_wait(), statusLook)) > 0) {
        if (watched[1].revents != 0) {
            drain_signal_fd();
        }
        read_terminal(watched[0].revents);
    }
    keep_complete_keys();
}

bool terminal_is_lost() {
    return terminalIsLost;
}

int run_aside(int (*work)(void* context), void* context) {
    Job job = {work, context, 0};
    pthread_t thread = 0;
    {
        const SignalBlock inheritedByThread;
        const int rc = pthread_create(&thread, nullptr, run_job, &job);
        if (rc != 0) {
            return rc;
        }
    }
    wait_until_clear(job.isRunning);
    pthread_join(thread, nullptr);
    note_end_of_request();
    return job.result;
}

} // namespace zrp
