// The line editor: keys, erasing, the frame, and what the terminal shows after each key.

#include "tests/terminal/session.h"

namespace zrp::line_editor_test {
namespace {

constexpr int kRow = 1;
constexpr int kColumn = 4;            // after the prompt "1? "
constexpr const char* kKill = "\x15"; // the terminal's kill character, Ctrl-U

TerminalOptions probe(const std::string& maxLength = "8", const std::string& width = "40") {
    return {.rows = 30,
            .columns = 80,
            .child = {.arguments = {LINE_EDITOR_PROBE_PROGRAM, maxLength, width}}};
}

bool wait_for_prompt(Terminal& terminal) {
    return terminal.wait_for_text(kRow, 1, "1? ");
}

bool wait_for_result(Terminal& terminal, int round, const std::string& result) {
    return terminal.wait_for_text(5 + round, 0, std::to_string(round) + ": " + result);
}

bool wait_for_line(Terminal& terminal, const std::string& line) {
    return terminal.wait_for_text(kRow, kColumn, line);
}

TEST(LineEditor, ReturnsTheTypedTextAtEnter) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("42 x\r");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [42 x]")) << terminal.text();
}

TEST(LineEditor, TheEnterKeyOfTheKeypadEndsTheLineToo) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("42\x1bOM");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [42]")) << terminal.text();
}

TEST(LineEditor, ShowsEachCharacterAsItIsTyped) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("1");
    EXPECT_TRUE(wait_for_line(terminal, "1 "));
    terminal.type("2");
    EXPECT_TRUE(wait_for_line(terminal, "12 "));
}

TEST(LineEditor, BackspaceOnAnEmptyLineDoesNothingAndDrawsNothing) {
    Terminal terminal(probe());
    // The window's frame may come after the prompt.
    ASSERT_TRUE(wait_for_prompt(terminal) && terminal.wait_for_rest());
    const harness::Snapshot before = terminal.screen().snapshot();
    terminal.press(Key::kBackspace);
    terminal.press(Key::kDelete);
    terminal.type(kKill);
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(terminal.screen().snapshot(), before) << terminal.text();
    terminal.press(Key::kEnter);
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 []")) << terminal.text();
}

TEST(LineEditor, AnEraseKeyRemovesOneCharacterFromTextAndScreen) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("1234");
    ASSERT_TRUE(wait_for_line(terminal, "1234"));
    terminal.press(Key::kBackspace);
    EXPECT_TRUE(wait_for_line(terminal, "123 ")) << terminal.row(kRow);
    terminal.press(Key::kDelete);
    EXPECT_TRUE(wait_for_line(terminal, "12 ")) << terminal.row(kRow);
    EXPECT_EQ(terminal.screen().text_at(kRow, 1, 3), "1? ");
    terminal.press(Key::kEnter);
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [12]"));
}

TEST(LineEditor, TheKillCharacterRemovesTheWholeLine) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("1234");
    ASSERT_TRUE(wait_for_line(terminal, "1234"));
    terminal.type(kKill);
    EXPECT_TRUE(wait_for_line(terminal, "     ")) << terminal.row(kRow);
    terminal.type("7\r");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [7]"));
}

TEST(LineEditor, CharactersBeyondTheMaximumAreIgnored) {
    Terminal terminal(probe("4"));
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("123456\r");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [1234]")) << terminal.text();
    EXPECT_EQ(terminal.screen().text_at(kRow, kColumn, 6), "1234  ");
}

TEST(LineEditor, ANegativeMaximumSetsNoLimit) {
    Terminal terminal(probe("-1"));
    ASSERT_TRUE(wait_for_prompt(terminal));
    const std::string longLine(60, '9');
    terminal.type(longLine + "\r");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [" + longLine.substr(0, 30)))
        << terminal.text();
}

TEST(LineEditor, TabAfterTextDiscardsTheText) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("12\t");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=1 key=9 []")) << terminal.text();
}

TEST(LineEditor, PageUpReturns260WhateverWasTyped) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("7");
    terminal.press(Key::kPageUp);
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=1 key=260 []")) << terminal.text();
}

TEST(LineEditor, HomeReturns266) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.press(Key::kHome);
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=1 key=266 []")) << terminal.text();
}

TEST(LineEditor, MapsEachSpecialKey) {
    const std::vector<std::pair<Key, int>> keys = {
        {Key::kTab, 9},      {Key::kRight, 9},  {Key::kPageDown, 9}, {Key::kShiftTab, 260},
        {Key::kPageUp, 260}, {Key::kLeft, 260}, {Key::kHome, 266},   {Key::kF1, 265},
        {Key::kF7, 271},     {Key::kF12, 276},  {Key::kUp, 259},     {Key::kDown, 258},
    };
    Terminal terminal(probe());
    int round = 1;
    for (const auto& [key, code] : keys) {
        ASSERT_TRUE(terminal.wait_for_text(kRow, 1, std::to_string(round) + "? "));
        terminal.press(key);
        ASSERT_TRUE(
            wait_for_result(terminal, round, "rc=0 hit=1 key=" + std::to_string(code) + " []"))
            << code << '\n'
            << terminal.text();
        round++;
    }
}

TEST(LineEditor, TheFirstKeyReplacesWhatWasThereBefore) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("300\r");
    ASSERT_TRUE(terminal.wait_for_text(kRow, 1, "2? 300")) << terminal.text();
    terminal.type("1");
    EXPECT_TRUE(wait_for_line(terminal, "1   ")) << terminal.row(kRow);
}

TEST(LineEditor, ALineTooLongForTheWindowShowsItsEndInsideTheFrame) {
    Terminal terminal(probe("32", "20"));
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("abcdefghijklmnopqrstuvwxyz");
    ASSERT_TRUE(wait_for_line(terminal, "lmnopqrstuvwxyz")) << terminal.text();
    EXPECT_NE(terminal.cell(kRow, 19).text, "z");
    EXPECT_EQ(terminal.screen().text_at(2, 1, 8), "old text");
    terminal.press(Key::kBackspace);
    EXPECT_TRUE(wait_for_line(terminal, "klmnopqrstuvwxy")) << terminal.text();
}

TEST(LineEditor, KillingALineTooLongForTheWindowLeavesThePromptAndTheFrame) {
    Terminal terminal(probe("32", "20"));
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("abcdefghijklmnopqrstuvwxyz");
    ASSERT_TRUE(wait_for_line(terminal, "lmnopqrstuvwxyz"));
    terminal.type(kKill);
    ASSERT_TRUE(wait_for_line(terminal, std::string(15, ' '))) << terminal.text();
    EXPECT_EQ(terminal.cell(kRow, 0).text, kVertical);
    EXPECT_EQ(terminal.screen().text_at(kRow, 1, 3), "1? ");
    EXPECT_EQ(terminal.cell(kRow, 19).text, kVertical);
}

TEST(LineEditor, CharactersOtherThanPrintableAsciiTakeOneCellEach) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("a\x01\xc3\xa9");
    EXPECT_TRUE(wait_for_line(terminal, "a??? ")) << terminal.row(kRow);
    for (int i = 0; i < 3; i++) {
        terminal.press(Key::kBackspace);
    }
    EXPECT_TRUE(wait_for_line(terminal, "a    ")) << terminal.row(kRow);
    terminal.press(Key::kEnter);
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [a]"));
}

TEST(LineEditor, AResizeIsNotReadAsACharacter) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("1");
    ASSERT_TRUE(wait_for_line(terminal, "1 "));
    terminal.resize(40, 100);
    terminal.type("2\r");
    EXPECT_TRUE(wait_for_result(terminal, 1, "rc=0 hit=0 key=0 [12]")) << terminal.text();
}

TEST(LineEditor, AReadErrorKeepsTheTextSoFar) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    terminal.type("12");
    ASSERT_TRUE(wait_for_line(terminal, "12 "));
    terminal.child().send_signal(SIGTERM);
    EXPECT_TRUE(terminal.wait_until([&] {
        return terminal.raw_output().find("rc=-1 hit=0 key=0 [12]") != std::string::npos;
    })) << terminal.raw_output();
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{.code = 3});
}

TEST(DestroyWin, LeavesNoFrameOnTheTerminal) {
    Terminal terminal(probe());
    ASSERT_TRUE(wait_for_prompt(terminal));
    ASSERT_EQ(terminal.cell(0, 0).text, kTopLeft);
    terminal.press(Key::kF10);
    ASSERT_TRUE(terminal.wait_for_text(20, 0, "destroyed"));
    for (int row = 0; row < 5; row++) {
        EXPECT_EQ(terminal.row(row), "");
    }
    terminal.type("x");
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
}

} // namespace
} // namespace zrp::line_editor_test
