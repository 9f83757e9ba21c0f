// The start of the monitor.
#pragma once

#include "core/screen.h"

namespace zrp {

// Runs the monitor with the program's arguments on the given screens. Returns only when it refuses
// to start: 1 when not root, 0 after the usage text or on a terminal that is too small.
int run_monitor(int argc, char** argv, const ScreenSet& screens);

// The two permanent windows. Each returns 0, 34 when its window exists already, 12 when it cannot
// be made.
int create_uptime_window();
int create_main_window();

} // namespace zrp
