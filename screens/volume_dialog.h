// The list of the server's mounted volumes and the dialog that chooses one of them.
//
// The main thread writes the three globals in the dialog, while the refresh thread is paused; the
// Volume screen reads them on the refresh thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ncurses.h>

namespace zrp {

inline constexpr int kVolumeSlots = 256;
inline constexpr size_t kVolumeListNameSize = 64;

struct VolumeEntry {
    int32_t id;                     // -1 in a slot that the last list left empty
    char name[kVolumeListNameSize]; // empty in an empty slot, whatever its id says
};

extern VolumeEntry volumeList[kVolumeSlots]; // indexed by the server's volume number
extern int32_t volumeCount;                  // volumes that the last do_list_volumes stored
extern int32_t selectedVolume; // the last number typed, which may be of no volume at all

// The name of the selected volume; empty when the number is of no listed volume.
const char* selected_volume_name();

// Fills volumeList with the mounted volumes. A volume whose number has no slot is left out and a
// long name is cut. An error that the server reports ends the list without being a failure. Returns
// 0, or with an empty table 12 without memory or the transport's code.
int do_list_volumes();

// Draws the volumes from a number on, three in a row. Returns the count drawn when that filled the
// rows and more are left, -1 when the end of the table was reached.
int display_volume_list(WINDOW* window, int startIndex, int rows);

// The dialog. Returns 0 when a volume was chosen or, with *fkeyFlag 1, when the special key *fkey
// ended it; 22 when nothing is mounted, without a window and when the user quits; or the code of
// do_list_volumes or of the line editor.
int SelectVolumeNumber(int* fkeyFlag, int* fkey);

} // namespace zrp
