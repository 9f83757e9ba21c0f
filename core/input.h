// Keys from the terminal.
#pragma once

#include <ncurses.h>

namespace zrp {

// Waits for the next key typed into the window and returns its ncurses code, without echo. Returns
// ERR when the program is to end: a signal asked for it, or the terminal went away. A resize is no
// key. Call it without a CursesLock: the other thread draws meanwhile.
int read_key(WINDOW* window);

// True when ncurses knows the code as a function or cursor key of this terminal.
bool is_special_key(int key);

} // namespace zrp
