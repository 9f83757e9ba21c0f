// A program in a pseudo-terminal, and the screen that it draws.
//
// A test reads like a script:
//
//     Terminal terminal({.rows = 40, .columns = 100, .child = {.arguments = {program}}});
//     ASSERT_TRUE(terminal.wait_for_text(3, 2, "Server Up Time:")) << terminal.screen().text();
//     terminal.press(Key::kF3);
//     ...
//     EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{}) << terminal.raw_output();
//
//  1. The program's output is read only inside the operations that wait (wait_..., type): the
//  screen
//     does not change between them.
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
    // Starts the program. LINES and COLUMNS are removed from its environment, so that its size is
    // the terminal's.
    explicit Terminal(const TerminalOptions& options);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // Input. All bytes are written at once; the program reads them when it wants to.
    void type(std::string_view bytes);
    void press(Key key) {
        type(key_bytes(key));
    }

    // Reads output until the condition holds. The condition is checked first, after every piece of
    // output, and every 20 ms, so it may depend on more than the screen. False at the deadline.
    bool wait_until(const std::function<bool()>& condition, milliseconds patience = kPatience);

    // Until the text is at the position. False also once the program has closed the terminal.
    bool wait_for_text(int row, int column, std::string_view text,
                       milliseconds patience = kPatience);

    // The same, anywhere on the screen.
    bool wait_for(std::string_view text, milliseconds patience = kPatience);

    // Until the program has printed anything since the call.
    bool wait_for_output(milliseconds patience = kPatience);

    // Reads output until the program is at rest: it has printed nothing at several looks in a row,
    // and at each of them its threads and descendants slept, and so did all others of the calling
    // process, one of which may owe it an answer. By then it has read the keys typed before the
    // call and waits for a key, a timeout or a peer that is silent. False at the deadline.
    bool wait_for_rest(milliseconds patience = kPatience);

    // False once the program has closed its side, usually by ending.
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

    // Modes of the program's side (echo, canonical, ...). Valid after the program's end too.
    [[nodiscard]] termios modes() const;

    // The terminal goes away: the program gets SIGHUP, its reads end, its writes fail.
    void hang_up();

    // Changes the size; the program gets SIGWINCH.
    void resize(int rows, int columns);

    ChildProcess& child() {
        return child_;
    }

    // Reads on until the program has ended, so that it never blocks on a full terminal. Nothing if
    // it still runs at the deadline.
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
