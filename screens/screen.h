// What a screen is to the rest of the monitor.
#pragma once

#include <ncurses.h>

namespace zrp {

// The functions take the main window and return a result code that nobody looks at: a failed update
// leaves the old values shown, and the next pass tries again.
struct Screen {
    int id; // ncurses code of its function key
    const char* name;
    int (*drawLabels)(WINDOW* window); // on the first pass after a switch, before update
    int (*update)(WINDOW* window);     // on every pass

    // The selection dialog that opens before the screen, or null. Runs on the main thread. Returns
    // 0 with *fkeyHit 0 when something was chosen, 0 with *fkeyHit 1 when the special key *fkey
    // ended it, anything else when the user gave up or it failed.
    int (*runDialog)(int* fkeyHit, int* fkey);
};

} // namespace zrp
