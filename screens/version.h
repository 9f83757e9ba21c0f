// The Version screen: versions of the server's components, of this monitor, of the release and of
// the platform.
#pragma once

#include <ncurses.h>

namespace zrp {

// Draws the frame. Returns 0, or 34 without a window.
int drawVersionFrame(WINDOW* window);

// Asks the running components, searches the files of those that do not answer, and shows what was
// found. Runs several commands one after the other; refresh thread only. Returns 0, or 34 without a
// window.
int drawVersionWindow(WINDOW* window);

} // namespace zrp
