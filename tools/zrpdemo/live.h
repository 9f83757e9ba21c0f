// The monitor on the user's own terminal.
#pragma once

#include <string>

#include "tools/harness/child_process.h"

namespace zrp::demo {

// Runs the monitor in the foreground until it ends. Signals that end this process are passed on to
// the monitor instead.
harness::ExitStatus run_live(const std::string& monitor);

} // namespace zrp::demo
