// The menu at the top of the terminal: which key does what.
#pragma once

#include <span>

#include "core/layout.h"
#include "core/screen.h"

namespace zrp {

// The width at which the first line ends. It does not depend on the terminal, which cuts the lines.
inline constexpr int kMenuColumns = 80;

struct Menu {
    char lines[kMenuLines][kMenuColumns + 1];
};

// The entries of the menu, one blank apart: the key that ends the program, the key of each screen,
// the keys that work on every screen. An entry that no longer fits is left out.
Menu make_menu(std::span<const Screen> screens);

// Draws the menu of the screens in use.
void draw_menu();

} // namespace zrp
