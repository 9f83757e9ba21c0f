// Where things are on the terminal. Rows and columns count from 0.
#pragma once

namespace zrp {

inline constexpr int kMenuLines = 2; // at the top

// The boxed windows: the up-time strip below the menu, the main window below the strip, the
// dialogs over the top of the main window. All leave one column of the terminal on either side.
inline constexpr int kWindowColumn = 1;
inline constexpr int kColumnsBesideWindow = 2 * kWindowColumn;

inline constexpr int kStripRow = kMenuLines;
inline constexpr int kStripHeight = 3;

inline constexpr int kMainRow = kStripRow + kStripHeight;
inline constexpr int kRowsBelowMainWindow = 5;
inline constexpr int kStatusRowFromBottom = 2; // the second of them from the bottom

} // namespace zrp
