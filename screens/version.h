// The Version screen: versions of the server's components, of this monitor, of the release and of
// the platform.
#pragma once

#include <ncurses.h>

namespace zrp {

// Draws the frame. Returns kOk, or kRange without a window.
int drawVersionFrame(WINDOW* window);

// Asks the running components for their versions, searches the files of those that do not answer,
// and draws what it has found. Refresh thread only, since it uses version_files.h. Returns kOk, or
// kRange without a window.
int drawVersionWindow(WINDOW* window);

} // namespace zrp
