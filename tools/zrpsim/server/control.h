// Commands on standard input that change the server while it runs.
#pragma once

#include "tools/zrpsim/server/server.h"

namespace zrp::sim {

// Carries out one line: "fault KIND[:TARGET]...", "fault none", "clock SECONDS", "clock run" or
// "quit". Returns an empty text, or what is wrong with it.
std::string control_line(Server& server, const std::string& line);

// Reads lines from standard input from now on and answers each with a line "ok" or "error: ..." on
// standard output. The end of the input is ignored.
void start_control(Server& server);

} // namespace zrp::sim
