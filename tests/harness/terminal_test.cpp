#include "tools/harness/terminal.h"

#include <atomic>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>

namespace zrp::harness::terminal_test {
namespace {

TerminalOptions sample(int rows = 25, int columns = 80) {
    return {.rows = rows,
            .columns = columns,
            .child = {.arguments = {FULL_SCREEN_SAMPLE_PROGRAM},
                      .environment = {"LANG=C.UTF-8", "LC_ALL"}}};
}

TerminalOptions shell(const std::string& script) {
    return {.child = {.arguments = {"sh", "-c", script}}};
}

TEST(Terminal, ShowsTextColoursAndAttributes) {
    Terminal terminal(sample());
    ASSERT_TRUE(terminal.wait_for_text(4, 2, "\u250c\u2500")) << terminal.text();
    EXPECT_EQ(terminal.row(1), "  white on blue");
    EXPECT_EQ(terminal.cell(1, 2), (Cell{.text = "w", .foreground = 7, .background = 4}));
    EXPECT_TRUE(terminal.cell(2, 2).bold && terminal.cell(2, 2).reverse);
    EXPECT_EQ(terminal.row(3), "  Gr\xc3\xbc\xc3\x9f");
    EXPECT_FALSE(terminal.screen().cursor().visible);
    EXPECT_TRUE(terminal.screen().alternate_screen());
}

TEST(Terminal, HasTheSizeItWasGiven) {
    Terminal terminal(sample(40, 100));
    EXPECT_TRUE(terminal.wait_for_text(0, 0, "size 40x100 ")) << terminal.text();
}

TEST(Terminal, ReportsANewSize) {
    Terminal terminal(sample());
    ASSERT_TRUE(terminal.wait_for("size 25x80"));
    terminal.resize(30, 90);
    EXPECT_TRUE(terminal.wait_for("size 30x90")) << terminal.text();
}

// Each key with its code in ncurses.
TEST(Terminal, SendsKeysThatNcursesKnows) {
    constexpr int kF0 = 0410;
    const std::vector<std::pair<Key, int>> keys = {
        {Key::kF1, kF0 + 1},   {Key::kF2, kF0 + 2},   {Key::kF3, kF0 + 3},   {Key::kF4, kF0 + 4},
        {Key::kF5, kF0 + 5},   {Key::kF6, kF0 + 6},   {Key::kF7, kF0 + 7},   {Key::kF8, kF0 + 8},
        {Key::kF9, kF0 + 9},   {Key::kF10, kF0 + 10}, {Key::kF11, kF0 + 11}, {Key::kTab, 9},
        {Key::kShiftTab, 353}, {Key::kUp, 259},       {Key::kDown, 258},     {Key::kRight, 261},
        {Key::kLeft, 260},     {Key::kHome, 262},     {Key::kEnd, 360},      {Key::kPageUp, 339},
        {Key::kPageDown, 338}, {Key::kInsert, 331},   {Key::kDelete, 330},   {Key::kBackspace, 263},
        {Key::kEnter, 10}, // the terminal's driver turns it into a newline
    };
    Terminal terminal(sample());
    for (const auto& [key, code] : keys) {
        terminal.press(key);
        ASSERT_TRUE(terminal.wait_for_text(5, 0, "key " + std::to_string(code) + " "))
            << terminal.row(5) << " instead of " << code;
    }
}

TEST(Terminal, ShowsThatTheProgramRestoredIt) {
    Terminal terminal(sample());
    ASSERT_TRUE(terminal.wait_for("size"));
    EXPECT_EQ(terminal.modes().c_lflag & (ICANON | ECHO), 0U);
    terminal.press(Key::kF12);
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
    EXPECT_EQ(terminal.modes().c_lflag & (ICANON | ECHO), static_cast<tcflag_t>(ICANON | ECHO));
    EXPECT_NE(terminal.raw_output().find("\x1b[?1049l"), std::string::npos);
    EXPECT_FALSE(terminal.screen().alternate_screen());
    EXPECT_TRUE(terminal.screen().cursor().visible);
}

TEST(Terminal, HasTheTypeItWasGiven) {
    TerminalOptions options = shell("echo \"$TERM|${LINES-gone}\"; tput colors");
    options.term = "vt100";
    Terminal terminal(options);
    EXPECT_TRUE(terminal.wait_for_text(0, 0, "vt100|gone")) << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(1, 0, "-1")) << terminal.text();
}

TEST(Terminal, ReadsTheLastOutputOfTheProgram) {
    Terminal terminal(shell("i=0; while [ $i -lt 3000 ]; do i=$((i+1)); echo line $i; done"));
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
    EXPECT_EQ(terminal.row(23), "line 3000");
    EXPECT_NE(terminal.raw_output().find("line 1\r\n"), std::string::npos);
}

TEST(Terminal, HangsUp) {
    Terminal terminal(shell("echo ready; exec sleep 100"));
    ASSERT_TRUE(terminal.wait_for("ready"));
    terminal.hang_up();
    EXPECT_EQ(terminal.wait_for_exit(), (ExitStatus{0, SIGHUP}));
}

TEST(Terminal, TurnsKeysIntoSignals) {
    Terminal terminal(shell("echo ready; exec sleep 100"));
    ASSERT_TRUE(terminal.wait_for("ready"));
    terminal.type("\x03");
    EXPECT_EQ(terminal.wait_for_exit(), (ExitStatus{0, SIGINT}));
}

TEST(Terminal, WaitingEndsAtTheDeadline) {
    Terminal terminal(shell("exec sleep 100"));
    EXPECT_FALSE(terminal.wait_for("never", milliseconds{50}));
    EXPECT_EQ(terminal.wait_for_exit(milliseconds{50}), std::nullopt);
}

TEST(Terminal, IsAtRestWhenTheProgramAndItsChildrenOnlyWait) {
    Terminal terminal(shell("for i in 1 2 3; do sleep 0.03; echo $i; done; exec sleep 100"));
    EXPECT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(terminal.row(2), "3");
}

TEST(Terminal, IsNotAtRestWhileTheProgramRuns) {
    Terminal terminal(shell("while :; do :; done"));
    EXPECT_FALSE(terminal.wait_for_rest(milliseconds{500}));
}

// What the program waits for may be the answer of one of them.
TEST(Terminal, IsNotAtRestWhileAnotherThreadOrProcessOfItsUserRuns) {
    Terminal terminal(shell("exec sleep 100"));
    {
        std::atomic<bool> stops{false};
        const std::jthread peer([&] {
            while (!stops.load()) {
            }
        });
        EXPECT_FALSE(terminal.wait_for_rest(milliseconds{500}));
        stops.store(true);
    }
    EXPECT_TRUE(terminal.wait_for_rest());
    const ChildProcess server({.arguments = {"sh", "-c", "while :; do :; done"}});
    EXPECT_FALSE(terminal.wait_for_rest(milliseconds{500}));
}

TEST(Terminal, IsAtRestAfterTheEndOfTheProgram) {
    Terminal terminal(shell("echo last"));
    EXPECT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(terminal.row(0), "last");
}

TEST(Terminal, WaitingForTextEndsWithTheProgram) {
    Terminal terminal(shell("exit 0"));
    const Deadline deadline(milliseconds{10000});
    EXPECT_FALSE(terminal.wait_for("never", milliseconds{60000}));
    EXPECT_FALSE(deadline.passed());
}

TEST(Terminal, TypingMoreThanTheProgramReadsDoesNotBlock) {
    Terminal terminal(shell("stty raw -echo; echo ready; head -c 100000 | wc -c"));
    ASSERT_TRUE(terminal.wait_for("ready"));
    terminal.type(std::string(100000, 'x'));
    EXPECT_TRUE(terminal.wait_for("100000")) << terminal.text();
}

} // namespace
} // namespace zrp::harness::terminal_test
