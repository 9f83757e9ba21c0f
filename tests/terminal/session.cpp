#include "tests/terminal/session.h"

#include <algorithm>

namespace zrp {

TerminalOptions monitor(int rows, int columns, const std::vector<std::string>& arguments) {
    TerminalOptions options = {.rows = rows, .columns = columns};
    options.child.arguments = {ZRPTOP_PROGRAM};
    options.child.arguments.insert(options.child.arguments.end(), arguments.begin(),
                                   arguments.end());
    options.child.environment = {"LANG=C.UTF-8", "LC_ALL", "LC_CTYPE"};
    return options;
}

TerminalOptions monitor_in(const Environment& environment) {
    TerminalOptions options = monitor();
    auto& all = options.child.environment;
    all.insert(all.end(), environment.begin(), environment.end());
    return options;
}

bool wait_for_windows(Terminal& terminal) {
    const int lastRow = terminal.screen().rows() - 6; // the main window's lower frame
    return terminal.wait_for_text(kStripTextRow, 2, "Server Up Time:") &&
           terminal.wait_until([&] { return terminal.cell(lastRow, 1).text != " "; });
}

std::string parm(const std::string& name, const std::string& value, const std::string& type) {
    return "<parm><name>" + name + "</name><value type=\"" + type + "\">" + value +
           "</value></parm>\n";
}

std::string up_time(const std::string& seconds) {
    return parm("serverUpTime", seconds, "diffSeconds");
}

std::string statistics(const std::string& parms) {
    return "<zrpConsoleReply><serverStatistics>" + parms + "</serverStatistics></zrpConsoleReply>";
}

std::vector<PeerScript> answers(const std::vector<std::string>& replies) {
    std::vector<PeerScript> scripts;
    for (const std::string& text : replies) {
        scripts.push_back({read_request(), send_bytes(reply(text))});
    }
    return scripts;
}

harness::Snapshot but_status_row(harness::Snapshot snapshot) {
    const auto first = snapshot.cells.begin() + (snapshot.rows - 2) * snapshot.columns;
    std::fill(first, first + snapshot.columns, harness::Cell{});
    return snapshot;
}

void expect_ended_cleanly(Terminal& terminal) {
    const auto status = terminal.wait_for_exit();
    ASSERT_TRUE(status.has_value()) << "still running:\n" << terminal.text();
    EXPECT_EQ(*status, ExitStatus{}) << terminal.raw_output();
    EXPECT_FALSE(terminal.screen().alternate_screen());
    EXPECT_TRUE(terminal.screen().cursor().visible);
}

bool repeat_around_passes(Terminal& terminal, int passes, size_t requestsOfAPass,
                          const std::function<size_t()>& count_requests,
                          const std::function<bool()>& act) {
    using std::chrono::steady_clock;
    constexpr harness::milliseconds kRest{900}; // of the second between two passes
    for (int i = 0; i <= passes; i++) {
        const size_t before = count_requests();
        const auto comes = [&] { return count_requests() >= before + requestsOfAPass; };
        if (i == 0 && !terminal.wait_until(comes)) {
            return false;
        }
        const harness::Deadline deadline(harness::kPatience);
        while (!comes()) {
            if (deadline.passed() || !act()) {
                return false;
            }
        }
        const auto rested = steady_clock::now() + kRest;
        if (!act()) { // while the pass draws
            return false;
        }
        terminal.wait_until([&] { return steady_clock::now() >= rested; });
    }
    return true;
}

bool type_and_erase(Terminal& terminal, std::string_view text, std::string_view prompt) {
    const int row = terminal.screen().find_row(prompt);
    const std::string empty = terminal.row(row);
    terminal.type(text);
    const bool shown = terminal.wait_until([&] { return terminal.row(row) != empty; });
    terminal.type(std::string(text.size(), '\x7f'));
    return terminal.wait_until([&] { return terminal.row(row) == empty; }) && shown;
}

void expect_clean_end(Terminal& terminal) {
    terminal.press(Key::kF12);
    expect_ended_cleanly(terminal);
}

} // namespace zrp
