// The terminal as the monitor sets it up and gives it back.
#pragma once

namespace zrp {

// Switches to the full screen with colours, keys one by one and without a cursor, and reads the
// terminal's size into monitorState. ncurses itself ends the process with status 1 when it does not
// know the terminal.
void open_terminal();

// Gives the terminal back as it was.
void close_terminal();

} // namespace zrp
