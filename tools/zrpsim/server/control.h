// Commands from standard input that change the running server.
#pragma once

#include "tools/zrpsim/server/server.h"

namespace zrp::sim {

// Carries out one line: "fault KIND[:TARGET]...", "fault none", "clock SECONDS", "clock run",
// "fill VOLUME PERCENT", "login on", "login off", "connect COUNT [USER]", "restore" or "quit".
// Returns an empty text, or what is wrong.
std::string control_line(Server& server, const std::string& line);

// Starts to read lines from standard input and answers each with a line "ok" or "error: ..." on
// standard output. End of file is ignored.
void start_control(Server& server);

} // namespace zrp::sim
