// Runs a shell command that cannot write to the terminal.
#pragma once

#include <chrono>

namespace zrp {

// A search through the largest file of the product takes less than a second. A redirection to a
// FIFO without a reader would block for ever without this limit.
inline constexpr std::chrono::seconds kCommandTimeout{10};

// Runs `/bin/sh -c command` and waits for it. The command gets a fixed PATH and LC_ALL=C and
// nothing else of the program's environment. Kills it and all processes that it has started when
// the timeout is over or the program is to end. Its input is empty, and its output and error output
// are discarded. A redirection fails if its target is an existing ordinary file or a link to one;
// redirections to devices and FIFOs work. Returns the status as waitpid reports it, 0 for success,
// or -1 with errno set if the shell cannot be started or the program is to end.
int run_shell_command(const char* command, std::chrono::milliseconds timeout = kCommandTimeout);

} // namespace zrp
