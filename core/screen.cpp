#include "core/screen.h"

namespace zrp {
namespace {

const ScreenSet* screensInUse = nullptr;

const Screen* neighbour(const Screen* screen, size_t steps) {
    const ScreenSet& set = screen_set();
    return &set.screens[(static_cast<size_t>(screen - set.screens) + steps) % set.count];
}

} // namespace

void use_screens(const ScreenSet& set) {
    screensInUse = &set;
}

const ScreenSet& screen_set() {
    return *screensInUse;
}

const Screen* find_screen(int id) {
    const ScreenSet& set = screen_set();
    for (size_t i = 0; i < set.count; i++) {
        if (set.screens[i].id == id) {
            return &set.screens[i];
        }
    }
    return nullptr;
}

const Screen* next_screen(const Screen* screen) {
    return neighbour(screen, 1);
}

const Screen* previous_screen(const Screen* screen) {
    return neighbour(screen, screen_set().count - 1);
}

} // namespace zrp
