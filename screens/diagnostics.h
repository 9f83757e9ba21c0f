// The Diagnostics screen: one group of counters of the main or the storage daemon.
#pragma once

#include <cstdint>

#include <ncurses.h>

namespace zrp {

inline constexpr int32_t kNoDiagType = -1;

// The chosen group. Written by the dialog while the refresh thread is paused, read by that thread.
extern int32_t currentDiagType;

// The column left of the values; set by drawDiagnosticsLabels. Refresh thread only.
extern int32_t diagValueColumn;

// Lets the user choose a group. A number that is rejected stays in currentDiagType all the same.
// Returns 0, also when a special key ended the dialog (*fkeyHit 1); 22 when the user gave up, for a
// number of 19 or more and without a window; the line editor's code.
int SelectDiagnosticsType(int* fkeyHit, int* fkey);

// Draws frame, title and labels of the chosen group. Returns 0, or 34 without a window.
int drawDiagnosticsLabels(WINDOW* window);

// Asks the group's daemon for its counters, stores them and shows the group. Returns 0, also
// without a chosen group and for an empty reply, and then nothing is drawn; 34 without a window; 12
// without memory for the request; 22 when the main daemon fails to answer; the transport's code
// when the storage daemon does.
int updateDiagnosticsWindow(WINDOW* window);

} // namespace zrp
