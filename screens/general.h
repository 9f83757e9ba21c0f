// The General screen: the main daemon's statistics, and the up-time strip above every screen.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ncurses.h>

namespace zrp {

inline constexpr size_t kUpTimeTextSize = 512;

// Draws the frame. Returns kOk, or kInvalid without a window.
int drawGeneralLabels(WINDOW* window);

// Lists the first eleven statistics. Returns kOk even if the request fails, or kInvalid without a
// window.
int updateGeneralWindow(WINDOW* window);

// Shows the server's up time in the strip, if the strip exists.
void updateUpTimeWindow();

// Writes a duration as "1 Day 2 Hours 3 Minutes 4 Seconds ". Parts that are zero are left out,
// except for the seconds.
void format_up_time(uint32_t seconds, char (&text)[kUpTimeTextSize]);

} // namespace zrp
