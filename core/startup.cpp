#include "core/startup.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include "common/result.h"
#include "common/transport.h"
#include "core/key_loop.h"
#include "core/layout.h"
#include "core/menu.h"
#include "core/monitor.h"
#include "core/refresh_thread.h"
#include "core/screen.h"
#include "core/signals.h"
#include "core/terminal.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr int kMinLines = 25;
constexpr int kMinColumns = 40;

constexpr option kLongOptions[] = {
    {"?", no_argument, nullptr, 'h'},
    {"help", no_argument, nullptr, 'h'},
    {"d", no_argument, nullptr, 'd'},
    {nullptr, 0, nullptr, 0},
};

// Opens the null device in the place of each standard stream that the parent has closed, so that no
// socket and no file gets its number: a library that writes an error there would write to a daemon.
// Returns false if there is no input or no output.
bool fill_standard_streams() {
    bool hasTerminal = true;
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0 && errno == EBADF) {
            // The lowest free number is that of the stream.
            open("/dev/null", O_RDWR);
            hasTerminal = hasTerminal && stream == STDERR_FILENO;
        }
    }
    return hasTerminal;
}

void print_usage() {
    puts("zrptop - Velmora ZRP Server Monitoring Utility");
    puts("Shows live figures of the ZRP file server on this machine. Use it at your own risk.");
    puts("This program is unsupported by Velmora, Inc.");
    fflush(stdout);
}

// Returns false if the program is to exit.
bool read_options(int argc, char** argv) {
    for (;;) {
        const int choice = getopt_long(argc, argv, "?hHd", kLongOptions, nullptr);
        switch (choice) {
        case -1:
            return true;
        case 'H':
        case 'h':
        case '?':
            print_usage();
            return false;
        case 'd':
            open_trace();
            break;
        default:
            break;
        }
    }
}

void release_on_early_exit() {
    IPCServTerm();
    close_trace();
}

// If the terminal is too small, returns it to the shell, says so and returns false.
bool terminal_is_large_enough() {
    const char* lacking = nullptr;
    if (monitorState.screenLines < kMinLines) {
        lacking = "lines";
    } else if (monitorState.screenCols < kMinColumns) {
        lacking = "columns";
    }
    if (lacking == nullptr) {
        return true;
    }
    close_terminal();
    printf("\nPlease enlarge the terminal screen -- not enough %s\n", lacking);
    fflush(stdout);
    return false;
}

void read_function_keys() {
    const CursesLock lock;
    if (!is_in_background()) { // it may have been stopped meanwhile
        keypad(stdscr, TRUE);
    }
}

} // namespace

int create_uptime_window() {
    if (monitorState.upTimeWindow != nullptr) {
        return kRange;
    }
    WINDOW* window =
        create_newwin(kStripHeight, COLS - kColumnsBesideWindow, kStripRow, kWindowColumn);
    if (window == nullptr) {
        return kNoMemory;
    }
    monitorState.upTimeWindow = window;
    print_at(window, 1, 1, "Server Up Time:");
    refresh_window(window);
    return kOk;
}

int create_main_window() {
    if (monitorState.mainWindow != nullptr) {
        return kRange;
    }
    WINDOW* window =
        create_newwin(monitorState.screenLines - kMainRow - kRowsBelowMainWindow,
                      monitorState.screenCols - kColumnsBesideWindow, kMainRow, kWindowColumn);
    if (window == nullptr) {
        return kNoMemory;
    }
    monitorState.mainWindow = window;
    refresh_window(window);
    return kOk;
}

int run_monitor(int argc, char** argv, const ScreenSet& screens) {
    const bool hasTerminal = fill_standard_streams();
    if (getuid() != 0) {
        puts("must be root.");
        return EXIT_FAILURE;
    }
    use_screens(screens);
    run_hook(&Screen::clear);
    monitorState.currentScreen.store(kStartScreen);
    if (!read_options(argc, argv)) {
        return EXIT_SUCCESS;
    }
    install_signal_handlers();
    IPCServInit(kMainDaemonSocket);
    wait_for_foreground();
    if (!hasTerminal || termination_requested()) {
        release_on_early_exit();
        return EXIT_SUCCESS;
    }
    remember_terminal_modes();
    open_terminal();
    if (!terminal_is_large_enough()) {
        release_on_early_exit();
        return EXIT_SUCCESS;
    }
    draw_menu();
    run_hook(&Screen::prepare);
    create_uptime_window();
    create_main_window();
    request_first_draw();
    start_refresh_thread();
    read_function_keys();
    key_loop();
}

} // namespace zrp
