// A terminal with the exit key that ncurses knows. No usual keyboard has it.
#pragma once

#include <fstream>

#include "tests/terminal/session.h"
#include "tests/terminal/trace_folder.h"

namespace zrp {

inline constexpr const char* kExitKeyBytes = "\x1b[57~";

// The monitor on such a terminal, whose description is written to the folder.
inline TerminalOptions monitor_with_exit_key(const TraceFolder& folder) {
    const std::filesystem::path source = folder.path / "source";
    std::ofstream(source) << "zrptop-exit|xterm with an exit key,\n"
                             "\tkext=\\E[57~, use=xterm-256color,\n";
    harness::ChildProcess compiler({.arguments = {"tic", "-x", "-o", folder.path, source}});
    EXPECT_EQ(compiler.wait(), ExitStatus{});
    TerminalOptions options = monitor_in({"TERMINFO=" + folder.path.string()});
    options.term = "zrptop-exit";
    return options;
}

} // namespace zrp
