// The program, from its start to its exit status.
#pragma once

#include <span>

namespace zrp::ctl {

// Called before anything else: opens standard streams that are closed, lets a closed pipe end the
// process, and makes the widths of all characters known.
void prepare_process();

// Does what the command line says, which is without the program's name. Prints the message of a
// failure and returns the exit status. A command that runs catches Ctrl-C.
int run_program(std::span<const char* const> line);

} // namespace zrp::ctl
