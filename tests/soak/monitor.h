// The monitor and the simulated server of a turn.
#pragma once

#include <optional>

#include "tests/soak/soak.h"
#include "tests/terminal/simulator.h"
#include "tools/harness/terminal.h"

namespace zrp::soak {

inline constexpr int kEndingSignals[] = {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM};

harness::TerminalOptions monitor(int rows, int columns);

// Whether the strip and the frame of the main window are there, and nothing below them.
bool has_windows(const harness::Terminal& terminal);
void wait_for_windows(harness::Terminal& terminal);

// Reads what the monitor prints for a random time of at most that length.
void idle(Turn& turn, harness::Terminal& terminal, int mostMs);

// Waits for the end of the monitor with status 0, which a report of a sanitizer changes. The second
// also expects the terminal as it was before.
void expect_status_of_success(harness::Terminal& terminal);
void expect_end(harness::Terminal& terminal);

// The simulated server, which is killed, replaced, stopped and made faulty. Its clock is stopped,
// so that the same request always gets the same reply.
class Server {
public:
    explicit Server(Turn& turn) : turn_(turn) {
        start();
    }

    void start(); // another one, after the end of the old one
    void kill();
    void stop();
    void proceed();
    void damage(); // some replies, or none any more
    void heal();   // a server without faults

    [[nodiscard]] size_t logged(const std::string& text) const {
        return process_->logged(text);
    }

private:
    Turn& turn_;
    std::optional<Simulator> process_;
    bool stopped_ = false;
    bool holdsRequests_ = false; // which it never answers, without a fault neither
};

} // namespace zrp::soak
