// The Diagnostics screen: one group of counters of the main or the storage daemon.
#pragma once

#include <cstdint>

#include <ncurses.h>

namespace zrp {

inline constexpr int32_t kNoDiagType = -1;

// The chosen group, or kNoDiagType. Written by the dialog while the refresh thread is paused, read
// by the refresh thread.
extern int32_t currentDiagType;

// The column left of the values, set by drawDiagnosticsLabels. Refresh thread only.
extern int32_t diagValueColumn;

// The dialog that chooses a group. Compatibility: a number that it rejects is stored in
// currentDiagType all the same. Returns kOk, also if a special key ended the dialog; kInvalid if
// the user quit, for a number of 19 or more, and without a window; or the line editor's code.
int SelectDiagnosticsType(int* fkeyHit, int* fkey);

// Draws the frame, and the title and labels of the chosen group. Returns kOk, or kRange without a
// window.
int drawDiagnosticsLabels(WINDOW* window);

// Fetches the counters of the group's daemon, stores them and draws the values of the group. Draws
// nothing and returns kOk if no group is chosen or the reply is empty. Returns kRange without a
// window, kNoMemory if the request cannot be built, kInvalid if the exchange with the main daemon
// fails, and the transport's code if that with the storage daemon fails.
int updateDiagnosticsWindow(WINDOW* window);

} // namespace zrp
