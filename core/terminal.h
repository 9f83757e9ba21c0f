// Sets up the terminal and restores it.
#pragma once

namespace zrp {

// Switches the terminal to the full screen, with colours, unbuffered keys and no cursor, and stores
// its size in monitorState. If ncurses does not know the terminal, it exits with status 1 itself.
void open_terminal();

// Restores the terminal, unless it belongs to the shell.
void close_terminal();

// Returns the terminal to the shell and stops the program. Once it is continued in the foreground,
// takes the terminal back and redraws it. If it is continued in order to end, the shell keeps the
// terminal.
void suspend_terminal();

// The same after a stop that the program has not seen coming, from which it has just returned.
void reclaim_terminal();

// Waits until the program is in the foreground: touching the terminal from the background would
// stop it, or disturb the shell. Requests the end if no shell can bring it there.
void wait_for_foreground();

} // namespace zrp
