#include "core/key_loop.h"

#include <algorithm>

#include "common/result.h"
#include "core/input.h"
#include "core/keyboard.h"
#include "core/line_editor.h"
#include "core/monitor.h"
#include "core/refresh_thread.h"
#include "core/screen.h"
#include "core/shutdown.h"
#include "core/signals.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr const char* kLoopTag = "main";

void clear_screen() {
    pause_refresh();
    clear_window(monitorState.mainWindow);
    resume_refresh();
}

void switch_screen(int key) {
    pause_refresh();
    request_first_draw();
    monitorState.currentScreen.store(key);
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

// An action starts from the shown screen, or from the screen whose dialog the key has ended.
// Returns the screen to open next, or null.
using KeyAction = const Screen* (*)(const Screen* from);

struct KeyBinding {
    int key;
    KeyAction action;
};

const Screen* end_program(const Screen* /*from*/) {
    cleanup_and_exit(0);
}

const Screen* refresh_less_often(const Screen* /*from*/) {
    change_interval(1);
    return nullptr;
}

const Screen* refresh_more_often(const Screen* /*from*/) {
    change_interval(-1);
    return nullptr;
}

// All keys but the function keys of the screens, each of which opens its screen.
constexpr KeyBinding kKeyBindings[] = {
    {KEY_F(12), end_program},  {KEY_EXIT, end_program},     {kNextScreenKey, next_screen},
    {KEY_RIGHT, next_screen},  {KEY_BTAB, previous_screen}, {kPreviousScreenKey, previous_screen},
    {'+', refresh_less_often}, {'-', refresh_more_often},
};

// Null for a key without a binding.
KeyAction action_of(int key) {
    for (const KeyBinding& binding : kKeyBindings) {
        if (binding.key == key) {
            return binding.action;
        }
    }
    return nullptr;
}

// Acts on a key. Returns the screen to open next, or null.
const Screen* act_on_key(int key, const Screen* from) {
    const KeyAction action = action_of(key);
    return action != nullptr ? action(from) : find_screen(key);
}

// Compatibility: a key that leads back clears the main window first. A key that leads forward opens
// its dialog over the old contents, and a key that a dialog returns clears nothing.
const Screen* act_on_typed_key(int key) {
    if (action_of(key) == previous_screen) {
        clear_screen();
    }
    return act_on_key(key, shown_screen());
}

// Runs the dialog of a screen. Returns the screen to open next, or null.
const Screen* run_dialog(const Screen* screen) {
    int fkeyHit = 0;
    int fkey = 0;
    pause_refresh();
    const int rc = screen->runDialog(&fkeyHit, &fkey);
    if (rc == kOk && fkeyHit != 0 && action_of(fkey) == end_program) {
        request_termination(); // otherwise a pass that waits for a mute daemon delays the resume
    }
    resume_refresh();
    if (rc != kOk) {
        return nullptr;
    }
    if (fkeyHit == 0) {
        switch_screen(screen->key);
        return nullptr;
    }
    return act_on_key(fkey, screen);
}

// Opens a screen, through its dialog if it has one. Returns the screen to open next, or null.
const Screen* open_screen(const Screen* screen) {
    if (screen->runDialog != nullptr) {
        return run_dialog(screen);
    }
    if (monitorState.currentScreen.load() != screen->key) {
        switch_screen(screen->key);
    }
    return nullptr;
}

} // namespace

void key_loop() {
    for (;;) {
        const int key = read_key();
        if (key == ERR || key == KEY_F(1)) {
            cleanup_and_exit(0);
        }
        trace(is_special_key(key) ? "%s: special key=%0d\n" : "%s: key=%0d\n", kLoopTag, key);
        const Screen* screen = act_on_typed_key(key);
        while (screen != nullptr) {
            screen = open_screen(screen);
        }
    }
}

} // namespace zrp
