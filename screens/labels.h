// The fixed texts of a screen.
#pragma once

#include <span>

#include <ncurses.h>

namespace zrp {

inline constexpr int kTitleRow = 1;
inline constexpr int kTitleColumn = 5;
inline constexpr int kLabelColumn = 8;

struct Label {
    int row;
    const char* text; // at kLabelColumn
};

// Draws the frame, the title and the labels and shows them. title may be null. Returns kOk, or
// kRange without a window.
int draw_labels(WINDOW* window, const char* title, std::span<const Label> labels);

} // namespace zrp
