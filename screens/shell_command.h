// Runs a command line of the shell without a trace on the terminal.
#pragma once

#include <chrono>

namespace zrp {

// A search through the largest of the product's files takes less than a second, but a redirection
// to a FIFO that nobody reads would wait for ever, and the screen with it.
inline constexpr std::chrono::seconds kCommandPatience{10};

// Runs `/bin/sh -c command` and waits for it. Kills it with all that it has started when its time
// is over or the program is asked to end. Its input is empty, what it writes is thrown away, error
// output included. A redirection fails when an ordinary file is there already, also behind a link;
// it goes through to a device or a FIFO. Returns the status as waitpid gives it, 0 for success; -1,
// with the reason in errno, when the shell cannot be started or the program is to end.
int run_shell_command(const char* command, std::chrono::milliseconds patience = kCommandPatience);

} // namespace zrp
