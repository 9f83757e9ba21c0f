// The line editor, as far as it needs no keys.

#include "core/line_editor.h"

#include <gtest/gtest.h>

#include "core/window.h"
#include "tests/unit/headless_curses.h"

namespace zrp::line_editor_test {
namespace {

class LineEditor : public HeadlessCurses {
protected:
    void SetUp() override {
        HeadlessCurses::SetUp();
        window = create_newwin(5, 20, 0, 0);
        ASSERT_NE(window, nullptr);
    }

    void TearDown() override {
        destroy_win(window);
    }

    WINDOW* window = nullptr;
};

TEST_F(LineEditor, WithoutAWindowOrABufferTheOutputsStayUntouched) {
    char buffer[4] = "old";
    int fkeyHit = 7;
    int fkey = 8;
    EXPECT_EQ(zrptop_wgetnstr(nullptr, buffer, 3, &fkeyHit, &fkey), -1);
    EXPECT_EQ(zrptop_wgetnstr(window, nullptr, 3, &fkeyHit, &fkey), -1);
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(fkeyHit, 7);
    EXPECT_EQ(fkey, 8);
}

TEST_F(LineEditor, EraseRemovesTheLastCharacterFromTextAndWindow) {
    char buffer[] = "123";
    print_at(window, 1, 4, "%s", buffer);
    wmove(window, 1, 7);
    char* cursor = erase_last_char(window, buffer, buffer + 3);
    EXPECT_EQ(cursor, buffer + 2);
    EXPECT_STREQ(buffer, "12");
    EXPECT_EQ(getcurx(window), 6);
    EXPECT_EQ(row_of(window, 1), "   12");
}

TEST_F(LineEditor, EraseAtTheStartOfTheTextDoesNothing) {
    char buffer[] = "123";
    print_at(window, 1, 4, "%s", "x");
    wmove(window, 1, 5);
    EXPECT_EQ(erase_last_char(window, buffer, buffer), buffer);
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(getcurx(window), 5);
    EXPECT_EQ(row_of(window, 1), "   x");
}

} // namespace
} // namespace zrp::line_editor_test
