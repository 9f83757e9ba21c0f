#include "tools/harness/terminal_screen.h"

#include <gtest/gtest.h>

namespace zrp::harness::terminal_screen_test {
namespace {

TEST(TerminalScreen, ReadsTextAtItsPosition) {
    TerminalScreen screen(5, 20);
    screen.feed("\x1b[2;4Hhello");
    EXPECT_EQ(screen.text_at(1, 3, 5), "hello");
    EXPECT_EQ(screen.row(1), "   hello");
    EXPECT_EQ(screen.row(0), "");
    EXPECT_EQ(screen.find_row("ell"), 1);
    EXPECT_EQ(screen.find_row("ell", 2), -1);
}

TEST(TerminalScreen, ReadsColoursAndAttributes) {
    TerminalScreen screen(5, 20);
    screen.feed("\x1b[37;44mA\x1b[0m\x1b[1;7;4;5mB\x1b[0mC\x1b[38;2;1;2;3mD");
    EXPECT_EQ(screen.cell(0, 0).foreground, 7);
    EXPECT_EQ(screen.cell(0, 0).background, 4);
    const Cell b = screen.cell(0, 1);
    EXPECT_TRUE(b.bold && b.reverse && b.underline && b.blink);
    EXPECT_EQ(screen.cell(0, 2), Cell{.text = "C"});
    EXPECT_EQ(screen.cell(0, 3).foreground, kDirectColor + 0x010203);
}

TEST(TerminalScreen, ReadsBytesThatAreSplitAnywhere) {
    TerminalScreen screen(2, 20);
    for (const char byte : std::string("\x1b[31mGr\xc3\xbc\xc3\x9f")) {
        screen.feed({&byte, 1});
    }
    EXPECT_EQ(screen.row(0), "Gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(screen.cell(0, 3).foreground, 1);
}

TEST(TerminalScreen, AWideCharacterTakesTwoCells) {
    TerminalScreen screen(2, 20);
    screen.feed("\xe6\xbc\xa2x");
    EXPECT_EQ(screen.cell(0, 0).text, "\xe6\xbc\xa2");
    EXPECT_EQ(screen.cell(0, 1).text, "");
    EXPECT_EQ(screen.cell(0, 2).text, "x");
    EXPECT_EQ(screen.row(0), "\xe6\xbc\xa2x");
}

TEST(TerminalScreen, OneColumnHasNoRoomForAWideCharacter) {
    TerminalScreen screen(2, 20);
    screen.resize(2, 1);
    screen.feed("\x1b[1;1Ha\xe6\xbc\xa2");
    EXPECT_EQ(screen.cell(0, 0).text, "a");
    screen.resize(2, 20);
    screen.feed("\x1b[2;1H\xe6\xbc\xa2x");
    EXPECT_EQ(screen.row(1), "\xe6\xbc\xa2x");
}

TEST(TerminalScreen, ReadsTheLineDrawingCharacters) {
    TerminalScreen screen(2, 20);
    screen.feed("\x1b(0lqk\x1b(Bl");
    EXPECT_EQ(screen.row(0), "\u250c\u2500\u2510l");
}

TEST(TerminalScreen, FollowsTheCursor) {
    TerminalScreen screen(5, 20);
    screen.feed("\x1b[3;7H");
    EXPECT_EQ(screen.cursor(), (Cursor{2, 6, true}));
    screen.feed("\x1b[?25l");
    EXPECT_FALSE(screen.cursor().visible);
}

TEST(TerminalScreen, ReturnsFromTheAlternateScreen) {
    TerminalScreen screen(5, 20);
    screen.feed("shell\x1b[?1049h\x1b[2J\x1b[Hprogram");
    EXPECT_TRUE(screen.alternate_screen());
    EXPECT_EQ(screen.row(0), "program");
    screen.feed("\x1b[?1049l");
    EXPECT_FALSE(screen.alternate_screen());
    EXPECT_EQ(screen.row(0), "shell");
}

TEST(TerminalScreen, PositionsOutsideTheScreenAreBlank) {
    const TerminalScreen screen(2, 4);
    EXPECT_EQ(screen.cell(-1, 0), Cell{});
    EXPECT_EQ(screen.cell(0, 4), Cell{});
    EXPECT_EQ(screen.cell(2, 0), Cell{});
}

TEST(TerminalScreen, SnapshotsDifferInColourAlone) {
    TerminalScreen screen(2, 4);
    screen.feed("a");
    const Snapshot plain = screen.snapshot();
    EXPECT_EQ(plain.text(), "a\n\n");
    EXPECT_EQ(plain, screen.snapshot());
    screen.feed("\r\x1b[31ma");
    EXPECT_NE(plain, screen.snapshot());
    EXPECT_EQ(plain.text(), screen.snapshot().text());
}

TEST(TerminalScreen, AnswersTheProgramsQueries) {
    TerminalScreen screen(5, 20);
    std::string answer;
    screen.on_answer([&](std::string_view bytes) { answer += bytes; });
    screen.feed("\x1b[2;3H\x1b[6n");
    EXPECT_EQ(answer, "\x1b[2;3R");
}

} // namespace
} // namespace zrp::harness::terminal_screen_test
