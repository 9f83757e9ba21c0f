// The start of the monitor.
#pragma once

#include "core/screen.h"

namespace zrp {

// Runs the monitor with the program's arguments and the given screens. Returns an exit status, and
// only if the monitor does not start: EXIT_FAILURE if the user is not root, EXIT_SUCCESS after the
// usage text, without a terminal, on one that is too small, and if a signal ends it in the
// background.
int run_monitor(int argc, char** argv, const ScreenSet& screens);

// Create the two permanent windows. Return kOk; kRange if the window exists already; kNoMemory if
// ncurses cannot create it.
int create_uptime_window();
int create_main_window();

} // namespace zrp
