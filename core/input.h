// How the main thread waits, and the keys from the terminal.
//
// Whatever the main thread waits for, it also watches the terminal and the wake descriptor, so that
// the end of the program, Ctrl-Z and the loss of the terminal take effect at once. Must be called
// without a CursesLock, so that the refresh thread can draw meanwhile.
#pragma once

#include <atomic>

namespace zrp {

// Waits for the next key and returns its ncurses code, without echo. Returns ERR once a signal or
// the loss of the terminal ends the program.
int read_key();

// Waits until the flag is 0. Whoever clears it calls wake_main_thread afterwards, at least if
// waits_until_clear(). Keys that are typed meanwhile wait their turn. But a key that ends the
// program takes effect if its turn does not come soon: the request to end interrupts what a daemon
// holds up.
void wait_until_clear(const std::atomic<int>& flag);

// True while the main thread waits so. Any thread.
bool waits_until_clear();

// Waits for one event, as the functions above do between two looks at what they wait for.
void wait_for_event();

// True once the terminal is known to be gone.
bool terminal_is_lost();

// Runs the work on a thread of its own, waits for its end as above and returns its result, or that
// of pthread_create. It may make exchanges, and it must not draw.
int run_aside(int (*work)(void* context), void* context);

} // namespace zrp
