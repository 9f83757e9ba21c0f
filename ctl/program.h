// The program, from its start to its exit status.
#pragma once

#include <span>

namespace zrp::ctl {

// Before anything else: streams that were closed, a closed pipe, and the widths of characters.
void prepare_process();

// Does what the command line says, without the program's name, and returns the exit status.
// Messages of failures are printed. Catches Ctrl-C from then on.
int run_program(std::span<const char* const> line);

} // namespace zrp::ctl
