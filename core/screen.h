// What a screen is to the rest of the monitor, and the set of screens that it runs.
#pragma once

#include <cstddef>

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

// All screens, and what they need at the moments of the monitor's life that are not theirs alone.
// The core knows screens only through this record, so that screens stand on the core and never the
// other way round.
struct ScreenSet {
    const Screen* screens; // in the order of Tab
    size_t count;

    void (*updateStrip)(); // at the start of every pass, whatever screen is shown
    void (*clear)();       // first thing at start-up
    void (*prepare)();     // once the menu stands, before the windows and the refresh thread
    void (*release)();     // when the refresh thread has ended and no exchange is in flight
};

// Sets the screens that the functions below and the refresh thread know. Called once, before both
// threads run.
void use_screens(const ScreenSet& set);

const ScreenSet& screen_set();

// The screen of that identifier, or null.
const Screen* find_screen(int id);

// The neighbours in the order of Tab, round the ends.
const Screen* next_screen(const Screen* screen);
const Screen* previous_screen(const Screen* screen);

} // namespace zrp
