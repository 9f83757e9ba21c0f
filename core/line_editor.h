// Reads a line of text in a window, for the selection dialogs.
#pragma once

#include <ncurses.h>

namespace zrp {

inline constexpr int kNextScreenKey = '\t';         // reported for Tab, Right and Page Down
inline constexpr int kPreviousScreenKey = KEY_LEFT; // reported for Shift-Tab, Left and Page Up

// The least width of the field, even if the prompt before it reaches the frame.
inline constexpr int kMinFieldWidth = 6;

// Removes the character before the cursor from the text and from the window. Returns the new
// cursor. Does nothing at the start of the buffer.
char* erase_last_char(WINDOW* window, const char* bufferStart, char* cursor);

// Reads a line at the window's cursor into the buffer, which holds maxLength + 1 bytes. Characters
// beyond maxLength are dropped; a negative maxLength means no limit. Enter ends the input with
// *fkeyHit 0. A special key ends it with *fkeyHit 1 and the key's code in *fkey, and the text is
// discarded. Tab, Right and Page Down report kNextScreenKey; Shift-Tab, Left and Page Up
// kPreviousScreenKey; the exit key KEY_F(12); Home kStartScreen; other keys their own code.
//
// The editor draws the text itself, so that the window shows what the buffer holds after every key.
// The echo of ncurses stays off: it would draw erase keys as characters and write over the frame.
// Characters outside printable ASCII are drawn as '?'. Of a line that is too long for the window
// the end is shown.
//
// Returns kOk; -1 without a window or a buffer (outputs untouched), and -1 with the text so far
// once the program is to end.
int zrptop_wgetnstr(WINDOW* window, char* buffer, int maxLength, int* fkeyHit, int* fkey);

} // namespace zrp
