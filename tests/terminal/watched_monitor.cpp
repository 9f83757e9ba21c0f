// The monitor with a check that only one thread at a time is inside ncurses: the calls are wrapped
// (--wrap in the build), take a while, and abort the program if the other thread is inside as well.

#define NCURSES_NOMACROS

#include <atomic>
#include <cstdlib>
#include <unistd.h>

#include <ncurses.h>

#include "core/startup.h"
#include "screens/screen_table.h"

namespace {

constexpr useconds_t kCallMicroseconds = 2000;

std::atomic<bool> inside{false};

struct CursesCall {
    CursesCall() {
        if (inside.exchange(true)) {
            abort();
        }
        usleep(kCallMicroseconds);
    }
    CursesCall(const CursesCall&) = delete;
    CursesCall& operator=(const CursesCall&) = delete;
    ~CursesCall() {
        inside.store(false);
    }
};

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the linker's own names
#define WATCHED(result, function, parameters, arguments)                                           \
    extern "C" result __real_##function parameters;                                                \
    extern "C" result __wrap_##function parameters;                                                \
    result __wrap_##function parameters {                                                          \
        const CursesCall call;                                                                     \
        return __real_##function arguments;                                                        \
    }

WATCHED(int, box, (WINDOW * window, chtype side, chtype top), (window, side, top))
WATCHED(int, delwin, (WINDOW * window), (window))
WATCHED(int, has_key, (int key), (key))
WATCHED(int, keypad, (WINDOW * window, bool on), (window, on))
WATCHED(char, killchar, (), ())
WATCHED(WINDOW*, newwin, (int rows, int columns, int row, int column), (rows, columns, row, column))
WATCHED(int, nodelay, (WINDOW * window, bool on), (window, on))
WATCHED(int, waddch, (WINDOW * window, chtype cell), (window, cell))
WATCHED(int, waddnstr, (WINDOW * window, const char* text, int size), (window, text, size))
WATCHED(int, wclear, (WINDOW * window), (window))
WATCHED(int, werase, (WINDOW * window), (window))
WATCHED(int, wgetch, (WINDOW * window), (window))
WATCHED(int, wmove, (WINDOW * window, int row, int column), (window, row, column))
WATCHED(int, wrefresh, (WINDOW * window), (window))
// NOLINTEND(clang-diagnostic-reserved-identifier)

int main(int argc, char** argv) {
    return zrp::run_monitor(argc, argv, zrp::kMonitorScreens);
}
