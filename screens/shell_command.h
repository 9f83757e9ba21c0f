// Runs a command line of the shell without a trace on the terminal.
#pragma once

namespace zrp {

// Runs `/bin/sh -c command` and waits for it, or kills it when the program is asked to end. Its
// input is empty, what it writes is thrown away, error output included. A redirection to a file
// fails when the file is there already. Returns the status as waitpid gives it, 0 for success; -1,
// with the reason in errno, when the shell cannot be started or the program is to end.
int run_shell_command(const char* command);

} // namespace zrp
