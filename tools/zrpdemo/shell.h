// A shell beside the simulated server.
#pragma once

#include <string>
#include <vector>

#include "tools/harness/child_process.h"

namespace zrp::demo {

// Runs bash with the folders of these programs before all others in PATH: on a terminal until the
// user leaves it, else with the commands of standard input.
harness::ExitStatus run_shell(const std::vector<std::string>& programs);

} // namespace zrp::demo
