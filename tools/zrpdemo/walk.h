// A walk through the monitor's screens and dialogs in a pseudo-terminal.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/harness/terminal.h"

namespace zrp::demo {

struct Scene {
    const char* name; // suitable for a file
    const char* caption;
    std::string_view keys; // that lead here from the previous scene
    std::string_view text; // that identifies the scene, anywhere below the up-time strip
};

// Called with each scene and the terminal's contents.
using ShowScene = std::function<void(const Scene& scene, const harness::Snapshot& shown)>;

// The monitor on a terminal of 80x25, with the terminal's locale.
harness::TerminalOptions walk_terminal(const std::string& monitor);

// Starts the monitor, shows each scene, and ends it with F12. Throws std::runtime_error with the
// contents of the screen when a scene does not appear or the monitor does not end.
harness::ExitStatus run_walk(const harness::TerminalOptions& monitor, const ShowScene& show);

} // namespace zrp::demo
