// Passes of the monitor that nobody else sees: its daemons do not listen.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/terminal/session.h"

namespace zrp {

// How often the threads beside the first have lain down to wait. Without a daemon to wait for, the
// refresh thread does so at the end of each pass and hardly elsewhere.
inline long refresh_thread_waits(pid_t monitor) {
    const std::string first = std::to_string(monitor);
    long waits = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + first + "/task")) {
        std::ifstream status(thread.path() / "status");
        for (std::string word; thread.path().filename() != first && status >> word;) {
            long count = 0;
            if (word == "voluntary_ctxt_switches:" && status >> count) {
                waits += count;
            }
        }
    }
    return waits;
}

// Waits until a pass that began after the call is over and printed: the first wait can be the end
// of the one under way.
inline bool wait_for_idle_pass(Terminal& terminal) {
    const auto waits = [&] { return refresh_thread_waits(terminal.child().pid()); };
    const long before = waits();
    return terminal.wait_until([&] { return waits() >= before + 3; }) && terminal.wait_for_rest();
}

} // namespace zrp
