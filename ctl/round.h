// Running a command: once, or again and again.
#pragma once

#include "ctl/arguments.h"

namespace zrp::ctl {

// Runs the command, shows what it found, and returns the exit status. With --watch it repeats that
// until there is a signal, and returns the status of the last round.
int run_command(const Invocation& invocation);

} // namespace zrp::ctl
