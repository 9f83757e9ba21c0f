// The list of the server's mounted volumes, and the dialog that selects one of them.
//
// The dialog writes the three globals, also in its request on a thread of its own, while the main
// thread waits and the refresh thread is paused. The Volume screen reads them on the refresh
// thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ncurses.h>

namespace zrp {

inline constexpr int kVolumeSlots = 256;
inline constexpr size_t kVolumeListNameSize = 64;

struct VolumeEntry {
    int32_t id;                     // -1 in an empty slot
    char name[kVolumeListNameSize]; // a slot is empty if this is empty
};

extern VolumeEntry volumeList[kVolumeSlots]; // indexed by the server's volume number
extern int32_t volumeCount;                  // volumes stored by the last do_list_volumes
extern int32_t selectedVolume;               // the last number typed, listed or not

// The name of the selected volume, empty if it is not listed.
const char* selected_volume_name();

// Fills volumeList with the mounted volumes. A volume whose number has no slot is left out, and a
// long name is cut. Compatibility: an error that the server reports ends the list but is not a
// failure. Returns kOk; or, with the list empty, kNoMemory or the transport's code.
int do_list_volumes();

// Draws the volumes from a number on, three in a row. Returns the count drawn if the rows are full
// and there are more volumes, or -1 if the last volume is drawn.
int display_volume_list(WINDOW* window, int startIndex, int rows);

// The dialog. Returns kOk if a volume was selected and if a special key ended the dialog; kInvalid
// if no volume is mounted, without a window, and if the user quits; or the code of do_list_volumes
// or of the line editor.
int SelectVolumeNumber(int* fkeyHit, int* fkey);

} // namespace zrp
