// The Connection screen: one connection of the file server.
#pragma once

#include <ncurses.h>

#include "common/requests/connections.h"

namespace zrp {

inline constexpr int kConnectionsPerPage = 10;
inline constexpr int kNoConnection = -1;

// Station number of the shown connection, or kNoConnection. Written by the dialog while the refresh
// thread is paused.
extern int selectedConnection;

// The page that the dialog shows. Written by the dialog's request, which the main thread waits for.
extern ConnectionEntry connectionPage[kConnectionsPerPage];

// Fetches the page of the list that starts at station startIndex, or at the top for kNoConnection,
// into connectionPage. *count is the number of entries, *nextStart the station at which the next
// page starts, or kNoConnection after the last page. Both are set on failure too. Returns kOk,
// kNoMemory, the transport's code or the server's error.
int fetchConnectionPage(int startIndex, int* count, int* nextStart);

// Fetches the first entry of the list from that station on. Returns kOk, kInvalid if there is no
// entry that can be read, or a code as above.
int fetchConnectionEntry(int station, ConnectionEntry* entry);

// The dialog. Sets selectedConnection to the number that was typed, even if there is no such
// connection. Compatibility: sets it to 0 if a special key ended the dialog. Returns kOk, kInvalid
// without a window, kRange if the user quit or no page could be fetched.
int SelectConnectionNumber(int* fkeyHit, int* fkey);

// Draws the frame and the labels. Returns kOk, or kRange without a window.
int drawConnectionLabels(WINDOW* window);

// Draws the values of the connection. Returns kOk, kRange without a window, or the code of a failed
// request, which leaves the old values on the screen.
int updateConnectionWindow(WINDOW* window);

} // namespace zrp
