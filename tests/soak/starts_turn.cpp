#include "tests/soak/monitor.h"

namespace zrp::soak {
namespace {

using harness::Terminal;

constexpr int kMostRows = 30;
constexpr int kMostColumns = 90;
constexpr int kLeastRows = 25; // of the monitor
constexpr int kLeastColumns = 40;
constexpr uint64_t kSizesOfATurn = 30;

// A monitor that is too small says so and ends.
void try_size(int rows, int columns) {
    Terminal terminal(monitor(rows, columns));
    if (rows >= kLeastRows && columns >= kLeastColumns) {
        wait_for_windows(terminal);
        terminal.press(harness::Key::kF12);
    }
    expect_end(terminal);
}

// Before its first output the monitor may not yet have taken the signals over.
void try_signals(Turn& turn, int first, int second) {
    Terminal terminal(monitor(25, 80));
    idle(turn, terminal, 500);
    terminal.child().send_signal(first);
    if (second != 0) {
        idle(turn, terminal, 50);
        terminal.child().send_signal(second);
    }
    if (terminal.raw_output().empty()) {
        const auto status = terminal.wait_for_exit();
        require(status.has_value() && (*status == harness::ExitStatus{} || status->signal == first),
                "a signal at the start: " + (status ? status->text() : "still running"));
        return;
    }
    expect_end(terminal);
}

} // namespace

void sweep_sizes(Turn& turn) {
    Server server(turn);
    for (uint64_t i = 0; i < kSizesOfATurn; i++) {
        const auto size =
            static_cast<int>((turn.number * kSizesOfATurn + i) % (kMostRows * kMostColumns));
        const int rows = size / kMostColumns + 1;
        const int columns = size % kMostColumns + 1;
        turn.note(std::to_string(rows) + "x" + std::to_string(columns));
        try_size(rows, columns);
    }
}

void send_signals(Turn& turn) {
    Server server(turn);
    if (turn.below(2) == 0) {
        server.damage();
    }
    for (const int first : kEndingSignals) {
        const int second = turn.pick(kEndingSignals);
        turn.note("signal " + std::to_string(first) + ", then also with " + std::to_string(second));
        try_signals(turn, first, 0);
        try_signals(turn, first, second);
    }
}

} // namespace zrp::soak
