// What the terminal tests have in common: the real monitor on a terminal, and the main daemon
// played by a scripted peer.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tests/support/needs.h"
#include "tests/support/scripted_peer.h"
#include "tools/harness/terminal.h"

namespace zrp {

using harness::ExitStatus;
using harness::Key;
using harness::Terminal;
using harness::TerminalOptions;
using Environment = std::vector<std::string>;

// ncurses' colour numbers as the screen gives them.
inline constexpr int kBlack = 0;
inline constexpr int kBlue = 4;
inline constexpr int kCyan = 6;
inline constexpr int kWhite = 7;

// Rows and columns that the monitor's windows have.
inline constexpr int kStripTextRow = 3;
inline constexpr int kUpTimeColumn = 18;
inline constexpr int kMainTop = 5;    // the main window's frame
inline constexpr int kListColumn = 6; // of a statistic

inline constexpr const char* kTopLeft = "\u250c";
inline constexpr const char* kTopRight = "\u2510";
inline constexpr const char* kBottomLeft = "\u2514";
inline constexpr const char* kBottomRight = "\u2518";
inline constexpr const char* kVertical = "\u2502";

// The monitor on a terminal of that size, in a UTF-8 locale.
TerminalOptions monitor(int rows = 25, int columns = 80,
                        const std::vector<std::string>& arguments = {});

// The same with its environment changed: "NAME=value" sets, "NAME" takes out.
TerminalOptions monitor_in(const Environment& environment);

// Waits until the first pass can have begun: all windows stand.
bool wait_for_windows(Terminal& terminal);

// One statistic, and a whole reply.
using Statistic =
    std::pair<std::string, std::string>; // name, inside of the value's tag and content
std::string parm(const std::string& name, const std::string& value,
                 const std::string& type = "unsignedInt");
std::string up_time(const std::string& seconds);
std::string statistics(const std::string& parms);

// Answers each statistics request with the reply of its turn; the last one stays. Each pass of the
// General screen asks twice.
std::vector<PeerScript> answers(const std::vector<std::string>& replies);

// Presses F12 and expects the monitor to end as it should, with the terminal as it was before.
void expect_clean_end(Terminal& terminal);

// Expects status 0 and a restored terminal from a monitor that was told to end already.
void expect_ended_cleanly(Terminal& terminal);

} // namespace zrp
