// The monitor with a signal at the worst moment of its start: after its handlers are installed and
// before ncurses has seen the terminal.

#include <csignal>

#include <ncurses.h>

#include "core/startup.h"
#include "screens/screen_table.h"

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the linker's own names
extern "C" WINDOW* __real_initscr();
extern "C" WINDOW* __wrap_initscr();
WINDOW* __wrap_initscr() {
    raise(SIGTERM);
    return __real_initscr();
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

int main(int argc, char** argv) {
    return zrp::run_monitor(argc, argv, zrp::kMonitorScreens);
}
