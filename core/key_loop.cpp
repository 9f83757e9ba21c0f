#include "core/key_loop.h"

#include <algorithm>

#include "common/result.h"
#include "core/input.h"
#include "core/line_editor.h"
#include "core/monitor.h"
#include "core/refresh_thread.h"
#include "core/screen.h"
#include "core/shutdown.h"
#include "core/signals.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr const char* kTraceTag = "main";

void clear_screen() {
    pause_refresh();
    clear_window(monitorState.mainWindow);
    resume_refresh();
}

void switch_screen(int id) {
    pause_refresh();
    request_first_draw();
    monitorState.currentScreen.store(id);
    clear_window(monitorState.mainWindow);
    resume_refresh();
}

const Screen* shown_screen() {
    return find_screen(monitorState.currentScreen.load());
}

void change_interval(int seconds) {
    monitorState.refreshInterval.store(std::clamp(monitorState.refreshInterval.load() + seconds,
                                                  kMinRefreshSeconds, kMaxRefreshSeconds));
}

// An action returns the screen to open next, or null.
using KeyAction = const Screen* (*)();

struct KeyBinding {
    int key;
    KeyAction action;
};

const Screen* end_program() {
    cleanup_and_exit(0);
}

const Screen* go_to_next_screen() {
    return next_screen(shown_screen());
}

// Only the way back clears the window first; the way forward opens its dialog over the old
// contents.
const Screen* go_to_previous_screen() {
    clear_screen();
    return previous_screen(shown_screen());
}

const Screen* refresh_less_often() {
    change_interval(1);
    return nullptr;
}

const Screen* refresh_more_often() {
    change_interval(-1);
    return nullptr;
}

// Besides these, the function key of each screen opens it.
constexpr KeyBinding kKeyBindings[] = {
    {KEY_F(12), end_program},          {KEY_EXIT, end_program},
    {'\t', go_to_next_screen},         {KEY_RIGHT, go_to_next_screen},
    {KEY_BTAB, go_to_previous_screen}, {KEY_LEFT, go_to_previous_screen},
    {'+', refresh_less_often},         {'-', refresh_more_often},
};

// Null for a key that none is bound to.
KeyAction action_of(int key) {
    for (const KeyBinding& binding : kKeyBindings) {
        if (binding.key == key) {
            return binding.action;
        }
    }
    return nullptr;
}

// Acts on a key. Returns the screen that it opens, or null.
const Screen* act_on_key(int key) {
    const KeyAction action = action_of(key);
    return action != nullptr ? action() : find_screen(key);
}

// Runs a screen's dialog. Returns the screen that the user went on to from there, or null.
const Screen* run_dialog(const Screen* screen) {
    int fkeyHit = 0;
    int fkey = 0;
    pause_refresh();
    const int rc = screen->runDialog(&fkeyHit, &fkey);
    if (rc == kOk && fkeyHit != 0 && action_of(fkey) == end_program) {
        request_termination(); // or a pass that a mute daemon holds would hold up resuming
    }
    resume_refresh();
    if (rc != kOk) {
        return nullptr;
    }
    if (fkeyHit == 0) {
        switch_screen(screen->id);
        return nullptr;
    }
    if (fkey == kNextScreenKey || fkey == KEY_RIGHT) {
        return next_screen(screen);
    }
    if (fkey == kPreviousScreenKey || fkey == KEY_BTAB) {
        return previous_screen(screen);
    }
    return act_on_key(fkey);
}

// Opens a screen: through its dialog where it has one. Returns the screen to open after it, or
// null.
const Screen* open_screen(const Screen* screen) {
    if (screen->runDialog != nullptr) {
        return run_dialog(screen);
    }
    if (monitorState.currentScreen.load() != screen->id) {
        switch_screen(screen->id);
    }
    return nullptr;
}

} // namespace

void key_loop() {
    for (;;) {
        const int key = read_key(stdscr);
        if (key == ERR || key == KEY_F(1)) {
            cleanup_and_exit(0);
        }
        trace(is_special_key(key) ? "%s: special key=%0d\n" : "%s: key=%0d\n", kTraceTag, key);
        const Screen* screen = act_on_key(key);
        while (screen != nullptr) {
            screen = open_screen(screen);
        }
    }
}

} // namespace zrp
