// The monitor shown as text: a walk through its screens in a pseudo-terminal.
#pragma once

#include <string>

#include "tools/stage/child_process.h"

namespace zrp::demo {

struct Size {
    int columns = 80;
    int lines = 25;
};

// Starts the monitor, prints each scene to standard output, and ends it with F12. Throws
// std::runtime_error, with what is on the screen, when a scene does not come up or the monitor does
// not end.
stage::ExitStatus run_walk(const std::string& monitor, const Size& size);

} // namespace zrp::demo
