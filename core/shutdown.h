// The end of the monitor.
#pragma once

namespace zrp {

// The one shutdown, on the main thread: stops the refresh thread, gives the terminal back, waits
// for exchanges to end, closes the trace and exits with status 0. The argument is ignored. Signals
// ask for it and the key loop calls it, so that it never runs inside ncurses or twice.
[[noreturn]] void cleanup_and_exit(int sig);

} // namespace zrp
