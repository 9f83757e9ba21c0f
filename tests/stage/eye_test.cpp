#include "tools/stage/eye.h"

#include <gtest/gtest.h>

namespace zrp::stage {
namespace {

TEST(Eye, ReadsTextAtItsPlace) {
    Eye eye(5, 20);
    eye.feed("\x1b[2;4Hhello");
    EXPECT_EQ(eye.text_at(1, 3, 5), "hello");
    EXPECT_EQ(eye.row(1), "   hello");
    EXPECT_EQ(eye.row(0), "");
    EXPECT_EQ(eye.find_row("ell"), 1);
    EXPECT_EQ(eye.find_row("ell", 2), -1);
}

TEST(Eye, ReadsColoursAndAttributes) {
    Eye eye(5, 20);
    eye.feed("\x1b[37;44mA\x1b[0m\x1b[1;7;4;5mB\x1b[0mC\x1b[38;2;1;2;3mD");
    EXPECT_EQ(eye.cell(0, 0).foreground, 7);
    EXPECT_EQ(eye.cell(0, 0).background, 4);
    const Cell b = eye.cell(0, 1);
    EXPECT_TRUE(b.bold && b.reverse && b.underline && b.blink);
    EXPECT_EQ(eye.cell(0, 2), Cell{.text = "C"});
    EXPECT_EQ(eye.cell(0, 3).foreground, kDirectColor + 0x010203);
}

TEST(Eye, ReadsBytesCutAnywhere) {
    Eye eye(2, 20);
    for (const char byte : std::string("\x1b[31mGr\xc3\xbc\xc3\x9f")) {
        eye.feed({&byte, 1});
    }
    EXPECT_EQ(eye.row(0), "Gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(eye.cell(0, 3).foreground, 1);
}

TEST(Eye, AWideCharacterTakesTwoCells) {
    Eye eye(2, 20);
    eye.feed("\xe6\xbc\xa2x");
    EXPECT_EQ(eye.cell(0, 0).text, "\xe6\xbc\xa2");
    EXPECT_EQ(eye.cell(0, 1).text, "");
    EXPECT_EQ(eye.cell(0, 2).text, "x");
    EXPECT_EQ(eye.row(0), "\xe6\xbc\xa2x");
}

TEST(Eye, KnowsTheLineDrawingCharacters) {
    Eye eye(2, 20);
    eye.feed("\x1b(0lqk\x1b(Bl");
    EXPECT_EQ(eye.row(0), "\u250c\u2500\u2510l");
}

TEST(Eye, FollowsTheCursor) {
    Eye eye(5, 20);
    eye.feed("\x1b[3;7H");
    EXPECT_EQ(eye.cursor(), (Cursor{2, 6, true}));
    eye.feed("\x1b[?25l");
    EXPECT_FALSE(eye.cursor().visible);
}

TEST(Eye, ComesBackFromTheAlternateScreen) {
    Eye eye(5, 20);
    eye.feed("shell\x1b[?1049h\x1b[2J\x1b[Hprogram");
    EXPECT_TRUE(eye.alternate_screen());
    EXPECT_EQ(eye.row(0), "program");
    eye.feed("\x1b[?1049l");
    EXPECT_FALSE(eye.alternate_screen());
    EXPECT_EQ(eye.row(0), "shell");
}

TEST(Eye, OutsideTheScreenIsBlank) {
    const Eye eye(2, 4);
    EXPECT_EQ(eye.cell(-1, 0), Cell{});
    EXPECT_EQ(eye.cell(0, 4), Cell{});
    EXPECT_EQ(eye.cell(2, 0), Cell{});
}

TEST(Eye, SnapshotsDifferByColourAlone) {
    Eye eye(2, 4);
    eye.feed("a");
    const Snapshot plain = eye.snapshot();
    EXPECT_EQ(plain.text(), "a\n\n");
    EXPECT_EQ(plain, eye.snapshot());
    eye.feed("\r\x1b[31ma");
    EXPECT_NE(plain, eye.snapshot());
    EXPECT_EQ(plain.text(), eye.snapshot().text());
}

TEST(Eye, AnswersTheProgramsQuestions) {
    Eye eye(5, 20);
    std::string answer;
    eye.on_answer([&](std::string_view bytes) { answer += bytes; });
    eye.feed("\x1b[2;3H\x1b[6n");
    EXPECT_EQ(answer, "\x1b[2;3R");
}

} // namespace
} // namespace zrp::stage
