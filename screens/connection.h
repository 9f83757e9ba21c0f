// The Connection screen: one connection of the file server.
#pragma once

#include <ncurses.h>

#include "common/requests/connections.h"

namespace zrp {

inline constexpr int kConnectionsOfPage = 10;
inline constexpr int kNoConnection = -1;

// Station number of the shown connection, or -1. Written by the dialog while the refresh thread is
// paused.
extern int selectedConnection;

// The page that the dialog shows. Touched by the main thread only.
extern ConnectionEntry connectionPage[kConnectionsOfPage];

// Fetches a page of the list, from station startIndex on, into connectionPage: *count entries.
// *nextStart is the station at which the next page starts, -1 when there is none. A startIndex of
// -1 is the top of the list. Returns 0, 12 without memory, the transport's code or the server's
// error.
int fetchConnectionPage(int startIndex, int* count, int* nextStart);

// Fetches the list's entry of that station, or the next one behind it. Returns 0, 22 when it cannot
// be read, or a code like above.
int fetchConnectionEntry(int station, ConnectionEntry* entry);

// The dialog, as the table of screens wants it. Sets selectedConnection to what was typed, whether
// or not there is such a connection; to 0 when a special key ended the dialog. Returns 0, 22
// without a window, 34 when the user quit or no page could be fetched.
int SelectConnectionNumber(int* fkeyHit, int* fkey);

// Draws the frame and the labels. Returns 0, or 34 without a window.
int drawConnectionLabels(WINDOW* window);

// Draws the connection's values. Returns 0, 34 without a window, or the code with which a request
// failed; the old values then stay.
int updateConnectionWindow(WINDOW* window);

} // namespace zrp
