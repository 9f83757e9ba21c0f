#include "core/screen.h"

namespace zrp {
namespace {

constexpr ScreenSet kNoScreens = {};
const ScreenSet* screensInUse = &kNoScreens;

const Screen* neighbour(const Screen* screen, size_t steps) {
    const std::span<const Screen> screens = screen_set().screens;
    const auto index = static_cast<size_t>(screen - screens.data());
    return &screens[(index + steps) % screens.size()];
}

} // namespace

void use_screens(const ScreenSet& set) {
    screensInUse = &set;
}

const ScreenSet& screen_set() {
    return *screensInUse;
}

void run_hook(void (*Screen::*hook)()) {
    for (const Screen& screen : screen_set().screens) {
        if (screen.*hook != nullptr) {
            (screen.*hook)();
        }
    }
}

const Screen* find_screen(int key) {
    for (const Screen& screen : screen_set().screens) {
        if (screen.key == key) {
            return &screen;
        }
    }
    return nullptr;
}

const Screen* next_screen(const Screen* screen) {
    return neighbour(screen, 1);
}

const Screen* previous_screen(const Screen* screen) {
    return neighbour(screen, screen_set().screens.size() - 1);
}

} // namespace zrp
