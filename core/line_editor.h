// Reads a line of text in a window, for the selection dialogs.
#pragma once

#include <ncurses.h>

namespace zrp {

inline constexpr int kNextScreenKey = '\t';         // Tab, Right and Page Down end the input so
inline constexpr int kPreviousScreenKey = KEY_LEFT; // Shift-Tab, Left and Page Up end it so

// Takes the character before the cursor out of the text and off the window. Returns the new cursor;
// at the start of the buffer it does nothing.
char* erase_last_char(WINDOW* window, const char* bufferStart, char* cursor);

// Reads a line at the window's cursor into the buffer, which holds maxLength + 1 bytes; further
// characters are dropped. A negative maxLength sets no limit. Ends with Enter (*fkeyHit 0) or with
// a special key (*fkeyHit 1, *fkey its code, the text discarded): Tab, Right and Page Down give 9;
// Shift-Tab, Left and Page Up 260; the exit key 276 like F12; Home 266 like F2; others themselves.
//
// The editor shows the text itself, after every key exactly what the buffer holds; ncurses' own
// echo stays off, since it would take an erase key for a second character and write across the
// frame. Characters outside printable ASCII show as '?', and a line too long for the window shows
// its end.
//
// Returns 0; -1 without a window or buffer (outputs untouched) or when the program is to end, then
// with the text so far.
int zrptop_wgetnstr(WINDOW* window, char* buffer, int maxLength, int* fkeyHit, int* fkey);

} // namespace zrp
