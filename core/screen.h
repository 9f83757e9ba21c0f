// What a screen is to the rest of the monitor, and the set of screens that it runs.
#pragma once

#include <span>

#include <ncurses.h>

namespace zrp {

// A row of the table of screens: all that the monitor knows about a screen. The core knows screens
// only through this record, so that screens build on the core and the core on no screen. A function
// that a screen does not need is null.
struct Screen {
    int key; // ncurses code of its function key, which identifies the screen
    // The screen works without some of the daemons that it asks: a refused connection is no
    // failure.
    bool toleratesRefusal = false;
    const char* menuText; // beside the key in the menu

    // Called by the refresh thread with the main window. The results are ignored: a failed update
    // leaves the old values on the screen, and the next pass tries again.
    int (*drawLabels)(WINDOW* window) = nullptr; // on the first pass after a switch, before update
    int (*update)(WINDOW* window) = nullptr;     // on every pass

    // The selection dialog that opens before the screen is shown. Runs on the main thread. Returns
    // kOk with *fkeyHit 0 when the user chose something, kOk with *fkeyHit 1 when the special key
    // *fkey ended the dialog, anything else when the user quit or the dialog failed.
    int (*runDialog)(int* fkeyHit, int* fkey) = nullptr;

    void (*clear)() = nullptr;   // first step of the start
    void (*prepare)() = nullptr; // after the menu is drawn, before the refresh thread starts
    void (*release)() = nullptr; // after the refresh thread has ended and the last exchange is over
};

struct ScreenSet {
    std::span<const Screen> screens; // in the order of the menu and of Tab
    void (*updateStrip)();           // at the start of every pass, whichever screen is shown
};

// Sets the screens that the functions below and the refresh thread use; none before that. Called
// once, before the refresh thread starts.
void use_screens(const ScreenSet& set);

const ScreenSet& screen_set();

// Calls one function of every screen that has it: run_hook(&Screen::prepare).
void run_hook(void (*Screen::*hook)());

// The screen of that function key, or null.
const Screen* find_screen(int key);

// The neighbours in the order of Tab; the first screen follows the last.
const Screen* next_screen(const Screen* screen);
const Screen* previous_screen(const Screen* screen);

} // namespace zrp
