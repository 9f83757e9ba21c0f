// What the monitor's threads do that neither a daemon nor the terminal notices.
#pragma once

#include "tests/terminal/session.h"
#include "tools/harness/process_state.h"

namespace zrp {

inline long main_thread_sleeps(pid_t monitor) {
    return harness::sleeps_of_thread(monitor, monitor);
}

// Of all threads but the main one: a sanitizer may add its own to the refresh thread.
inline long refresh_thread_sleeps(pid_t monitor) {
    long sleeps = 0;
    for (const pid_t thread : harness::threads_of(monitor)) {
        sleeps += thread == monitor ? 0 : harness::sleeps_of_thread(monitor, thread);
    }
    return sleeps;
}

// Waits for a pass that began after the call and is printed. For a monitor without a daemon: its
// refresh thread sleeps at the end of each pass and hardly anywhere else. The first sleep may
// belong to the pass under way.
inline bool wait_for_idle_pass(Terminal& terminal) {
    const auto sleeps = [&] { return refresh_thread_sleeps(terminal.child().pid()); };
    const long before = sleeps();
    return terminal.wait_until([&] { return sleeps() >= before + 3; }) && terminal.wait_for_rest();
}

} // namespace zrp
