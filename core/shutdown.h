// The end of the monitor.
#pragma once

namespace zrp {

// The only shutdown: stops the refresh thread, restores the terminal, waits for exchanges to end,
// closes the trace and exits with status 0. The argument is ignored. Signals only request it, and
// the key loop calls it on the main thread, so it runs once and never inside ncurses.
[[noreturn]] void cleanup_and_exit(int sig);

} // namespace zrp
