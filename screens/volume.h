// The Volume screen: state, mount points, capacity and caches of the selected volume.
#pragma once

#include <ncurses.h>

namespace zrp {

// Draws frame, title and labels. Returns 0, or 34 without a window.
int drawVolumeLabels(WINDOW* window);

// Asks for the selected volume and draws what the record of the answered version holds over the old
// values. Returns 0, 34 without a window or for a version that is not known, 12 when the volume
// cannot be asked for, or the code of the exchange, the server or the scanner; the old values then
// stay.
int updateVolumeWindow(WINDOW* window);

} // namespace zrp
