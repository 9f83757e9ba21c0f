// A walk through the monitor's screens and dialogs in a pseudo-terminal.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/harness/terminal.h"

namespace zrp::demo {

struct Scene {
    const char* name; // fit for a file
    const char* caption;
    std::string_view keys; // that lead here from the scene before
    std::string_view text; // by which the scene is known, somewhere below the up-time strip
};

// Called with each scene and what is on the terminal then.
using Audience = std::function<void(const Scene& scene, const harness::Snapshot& shown)>;

// The monitor on a terminal of 80x25, with the locale that the terminal speaks.
harness::TerminalOptions walk_terminal(const std::string& monitor);

// Starts the monitor, shows each scene, and ends it with F12. Throws std::runtime_error, with what
// is on the screen, when a scene does not come up or the monitor does not end.
harness::ExitStatus run_walk(const harness::TerminalOptions& monitor, const Audience& show);

} // namespace zrp::demo
