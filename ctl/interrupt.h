// Ctrl-C: it ends what waits for a daemon, for a person or for the next round.
#pragma once

#include "ctl/session.h"

namespace zrp::ctl {

// Ctrl-C and SIGTERM while the program repeats a command; only Ctrl-C otherwise.
void install_handlers(bool isRepeating);

// A reader that closes the pipe ends the program even if its parent ignores that signal.
void let_a_closed_pipe_end_it();

bool was_interrupted();

// Throws a Failure of kind kInterrupted as soon as there is an interrupt.
void sleep_for(milliseconds time);

} // namespace zrp::ctl
