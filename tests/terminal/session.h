// Common to the terminal tests: the real monitor on a terminal, and a scripted peer as its main
// daemon.
#pragma once

#include <csignal>
#include <functional>
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

// ncurses' colour numbers.
inline constexpr int kBlack = 0;
inline constexpr int kBlue = 4;
inline constexpr int kCyan = 6;
inline constexpr int kWhite = 7;

// Each ends the monitor.
inline constexpr int kEndingSignals[] = {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM};

// Positions of the monitor's windows.
inline constexpr int kStripTextRow = 3;
inline constexpr int kUpTimeColumn = 18;
inline constexpr int kMainTop = 5;    // the main window's frame
inline constexpr int kListColumn = 6; // of a statistic

// How the prompts of the dialogs begin.
inline constexpr const char* kVolumeDialog = "Enter volume number";
inline constexpr const char* kConnectionDialog = "Enter connection number";
inline constexpr const char* kDiagnosticsDialog = "Enter selection";

inline constexpr const char* kTopLeft = "\u250c";
inline constexpr const char* kTopRight = "\u2510";
inline constexpr const char* kBottomLeft = "\u2514";
inline constexpr const char* kBottomRight = "\u2518";
inline constexpr const char* kVertical = "\u2502";

// The monitor on a terminal of that size, in a UTF-8 locale.
TerminalOptions monitor(int rows = 25, int columns = 80,
                        const std::vector<std::string>& arguments = {});

// The same in a changed environment: "NAME=value" sets a variable, "NAME" removes it.
TerminalOptions monitor_in(const Environment& environment);

// Waits until all windows are drawn. The first pass begins after that.
bool wait_for_windows(Terminal& terminal);

// One statistic, the up time, and a whole reply.
std::string parm(const std::string& name, const std::string& value,
                 const std::string& type = "unsignedInt");
std::string up_time(const std::string& seconds);
std::string statistics(const std::string& parms);

// Shown as "figure: 1".
inline const std::string kFigures = statistics(parm("figure", "1") + up_time("9"));

// Answers the requests for statistics with these replies in order, and further ones with the last.
// A pass on the General screen asks twice.
std::vector<PeerScript> answers(const std::vector<std::string>& replies);

// The screen but for the row that says what does not answer, which has tests of its own.
harness::Snapshot but_status_row(harness::Snapshot snapshot);

// Acts again and again around the beginning of each of so many passes, and rests in between, when
// no pass can meet the act. A pass makes so many of the counted requests. False when passes fail to
// come, or the act fails.
bool repeat_around_passes(Terminal& terminal, int passes, size_t requestsOfAPass,
                          const std::function<size_t()>& count_requests,
                          const std::function<bool()>& act);

// Types the text at the prompt of a dialog, and erases it. False when it is not shown, or stays.
bool type_and_erase(Terminal& terminal, std::string_view text, std::string_view prompt);

// Presses F12 and expects the monitor to end with status 0 and the terminal restored.
void expect_clean_end(Terminal& terminal);

// Expects the same of a monitor that is already about to end.
void expect_ended_cleanly(Terminal& terminal);

} // namespace zrp
