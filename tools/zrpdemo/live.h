// The monitor on the user's own terminal.
#pragma once

#include <string>

#include "tools/stage/child_process.h"

namespace zrp::demo {

// Runs the monitor in the foreground until it ends. Signals sent to this process meanwhile are
// passed on to the monitor, which ends by them.
stage::ExitStatus run_live(const std::string& monitor);

} // namespace zrp::demo
