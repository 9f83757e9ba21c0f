// A picture of a screen.
#pragma once

#include <string>

#include "tools/harness/terminal_screen.h"

namespace zrp::harness {

// Draws the cells as an SVG document. The same cells and title give the same bytes.
//
//  1. Each piece of text carries its width, so columns stay aligned in any font.
//  2. Frames are drawn as lines: characters of a font would leave gaps between the rows.
//  3. Blinking and the cursor are not drawn.
std::string draw_svg(const Snapshot& snapshot, const std::string& title);

} // namespace zrp::harness
