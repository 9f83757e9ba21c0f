// Keys from the terminal.
#pragma once

#include <ncurses.h>

namespace zrp {

// Waits for the next key typed into the window and returns its ncurses code, without echo. Returns
// ERR once a signal or the loss of the terminal ends the program. A resize is not a key. Must be
// called without a CursesLock, so that the refresh thread can draw meanwhile.
int read_key(WINDOW* window);

// True if ncurses knows the code as a function or cursor key of this terminal.
bool is_special_key(int key);

} // namespace zrp
