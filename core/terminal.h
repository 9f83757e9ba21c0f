// Sets up the terminal and restores it.
#pragma once

namespace zrp {

// Switches the terminal to the full screen, with colours, unbuffered keys and no cursor, and stores
// its size in monitorState. If ncurses does not know the terminal, it exits with status 1 itself.
void open_terminal();

// Restores the terminal.
void close_terminal();

} // namespace zrp
