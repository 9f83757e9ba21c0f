// A real program in a pseudo-terminal, with an screen on its screen.
//
// A test reads like a script:
//
//     Terminal terminal({.rows = 40, .columns = 100, .child = {.arguments = {program}}});
//     ASSERT_TRUE(terminal.wait_for_text(3, 2, "Server Up Time:")) << terminal.screen().text();
//     terminal.press(Key::kF3);
//     ...
//     EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{}) << terminal.raw_output();
//
//  1. The program's output is read only inside the operations that wait (wait_..., pump, type): the
//     screen does not change between them.
//  2. Failures of the system throw std::system_error. A passed deadline is a result, not a failure.
//  3. A Terminal is used by one thread, and its child dies with that thread (child_process.h).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <termios.h>

#include "tools/harness/child_process.h"
#include "tools/harness/deadline.h"
#include "tools/harness/keys.h"
#include "tools/harness/terminal_screen.h"

namespace zrp::harness {

struct TerminalOptions {
    int rows = 25;
    int columns = 80;
    std::string term = "xterm-256color"; // TERM of the program; empty: not set at all
    ChildOptions child = {};             // LANG and the like go into child.environment
};

class Terminal {
public:
    // Starts the program. LINES and COLUMNS are taken out of its environment, so that the size is
    // the terminal's.
    explicit Terminal(const TerminalOptions& options);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // Input. All bytes are handed over at once; the program reads them when it likes.
    void type(std::string_view bytes);
    void press(Key key) {
        type(key_bytes(key));
    }

    // Reads output until the condition holds. The condition is looked at first, after every piece
    // of output, and every 20 ms, so that it may look at other things than the screen. False when
    // it does not hold at the deadline.
    bool wait_until(const std::function<bool()>& condition, milliseconds patience = kPatience);

    // Until the text stands at the position. False also once the program has closed the terminal.
    bool wait_for_text(int row, int column, std::string_view text,
                       milliseconds patience = kPatience);

    // The same, anywhere on the screen.
    bool wait_for(std::string_view text, milliseconds patience = kPatience);

    // Reads output for a whole period: for "nothing happens" tests and to let two threads meet.
    void pump(milliseconds period);

    // Reads output until the program rests: it has printed nothing for a while, and at each look in
    // that while all of its threads slept. Then it has taken the keys typed before, and waits for
    // others, for a time, or for somebody else's answer. False when that is not so at the deadline.
    bool wait_for_rest(milliseconds patience = kPatience);

    // False once the program has closed its side, mostly by its end.
    [[nodiscard]] bool is_open() const {
        return open_;
    }

    [[nodiscard]] const TerminalScreen& screen() const {
        return screen_;
    }
    [[nodiscard]] Cell cell(int row, int column) const {
        return screen_.cell(row, column);
    }
    [[nodiscard]] std::string row(int row) const {
        return screen_.row(row);
    }
    [[nodiscard]] std::string text() const {
        return screen_.text();
    }

    // Every byte that the program has sent.
    [[nodiscard]] const std::string& raw_output() const {
        return raw_;
    }

    // Modes of the program's side (echo, canonical, ...). Valid also after the program's end.
    [[nodiscard]] termios modes() const;

    // The terminal goes away: the program gets SIGHUP, its reads end, its writes fail.
    void hang_up();

    // Another size, told to the program by SIGWINCH.
    void resize(int rows, int columns);

    ChildProcess& child() {
        return child_;
    }

    // Reads on until the program has ended, so that it never blocks on a full terminal. Nothing
    // when it still runs at the deadline.
    std::optional<ExitStatus> wait_for_exit(milliseconds patience = kPatience);

private:
    void read_output();
    void poll_output(int timeout);

    Descriptor master_;
    bool open_ = true; // the program's side
    TerminalScreen screen_;
    ChildProcess child_;
    std::string raw_;
};

} // namespace zrp::harness
