// The Volume screen: state, mount points, capacity and caches of the selected volume.
#pragma once

#include <ncurses.h>

namespace zrp {

// Draws the frame, the title and the labels. Returns kOk, or kRange without a window.
int drawVolumeLabels(WINDOW* window);

// Fetches the selected volume and draws the values that the version of the reply has over the old
// ones. Returns kOk, kRange without a window and for an unknown version, kNoMemory if the request
// cannot be built, or the code of the transport, the server or the scanner. On failure the old
// values stay.
int updateVolumeWindow(WINDOW* window);

} // namespace zrp
