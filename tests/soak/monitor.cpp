#include "tests/soak/monitor.h"

#include <csignal>

namespace zrp::soak {
namespace {

using harness::milliseconds;
using harness::Terminal;

constexpr int kStripRow = 2;
constexpr int kMainRow = 5;
constexpr int kRowsBelow = 5;
constexpr const char* kTopLeft = "\u250c";
constexpr const char* kBottomRight = "\u2518";

// Left out: "huge-length", which takes four gigabytes of memory each time.
constexpr const char* kFaults[] = {
    "hang",          "drip",        "drip-header", "short-header", "wrong-magic",
    "swapped-magic", "status",      "early-close", "garbage",      "zero-length",
    "truncated",     "error-reply", "unclosed",    "refuse",
};
constexpr const char* kSockets[] = {"zrpserv", "zrp2bks", "libomw2zrp"};
constexpr const char* kCommands[] = {
    "serverStatistics",
    "listVolumes",
    "volumeInformation",
    "listConnections",
    "connectionInformationTag",
    "diagnostics",
    "set",
    "zrp2bksDiagnosticRequest",
    "versionTag",
};

} // namespace

harness::TerminalOptions monitor(int rows, int columns) {
    harness::TerminalOptions options = {.rows = rows, .columns = columns};
    options.child.arguments = {ZRPTOP_PROGRAM};
    options.child.environment = {"LANG=C.UTF-8", "LC_ALL", "LC_CTYPE"};
    return options;
}

bool has_windows(const Terminal& terminal) {
    const int rows = terminal.screen().rows();
    const int columns = terminal.screen().columns();
    for (int row = rows - kRowsBelow + 1; row < rows; row++) {
        if (!terminal.row(row).empty()) {
            return false;
        }
    }
    return terminal.screen().text_at(0, 0, 10) == "[F12] Exit" &&
           terminal.screen().text_at(kStripRow + 1, 2, 15) == "Server Up Time:" &&
           terminal.cell(kMainRow, 1).text == kTopLeft &&
           terminal.cell(rows - kRowsBelow - 1, columns - 2).text == kBottomRight;
}

void wait_for_windows(Terminal& terminal) {
    require(terminal.wait_until([&] { return has_windows(terminal); }),
            "the windows do not appear:\n" + terminal.text());
}

void idle(Turn& turn, Terminal& terminal, int mostMs) {
    terminal.wait_until([] { return false; }, milliseconds{turn.between(0, mostMs)});
}

void expect_status_of_success(Terminal& terminal) {
    const auto status = terminal.wait_for_exit();
    require(status.has_value(), "still running:\n" + terminal.text());
    require(*status == harness::ExitStatus{}, status->text() + ":\n" + terminal.raw_output());
}

void expect_end(Terminal& terminal) {
    expect_status_of_success(terminal);
    require(!terminal.screen().alternate_screen() && terminal.screen().cursor().visible,
            "the screen is not restored");
    const termios modes = terminal.modes();
    require((modes.c_lflag & ECHO) != 0 && (modes.c_lflag & ICANON) != 0,
            "the terminal's modes are not restored");
}

void Server::start() {
    process_.reset();
    stopped_ = false;
    holdsRequests_ = false;
    const int volumes = turn_.between(1, 60);
    const int connections = turn_.between(3, 80);
    process_.emplace(std::vector<std::string>{"--clock", "1000000", "--volumes",
                                              std::to_string(volumes), "--connections",
                                              std::to_string(connections)});
    turn_.note("server with " + std::to_string(volumes) + " volumes and " +
               std::to_string(connections) + " connections");
}

void Server::kill() {
    process_.reset();
    stopped_ = false;
    turn_.note("server killed");
}

void Server::stop() {
    if (process_) {
        process_->process().send_signal(SIGSTOP);
        stopped_ = true;
        turn_.note("server stopped");
    }
}

void Server::proceed() {
    if (process_ && stopped_) {
        process_->process().send_signal(SIGCONT);
        stopped_ = false;
        turn_.note("server continued");
    }
}

void Server::damage() {
    if (!process_) {
        start();
    }
    proceed();
    std::string fault = turn_.pick(kFaults);
    if (fault == "refuse") {
        fault += ":" + std::string(turn_.pick(kSockets));
    } else if (turn_.below(2) == 0) {
        fault += ":" + std::string(turn_.pick(kCommands));
    }
    holdsRequests_ = holdsRequests_ || fault.starts_with("hang");
    turn_.note("fault " + fault);
    process_->control("fault " + fault);
}

void Server::heal() {
    if (!process_ || holdsRequests_ || turn_.below(2) == 0) {
        start();
        return;
    }
    proceed();
    process_->control("fault none");
    turn_.note("fault none");
}

} // namespace zrp::soak
