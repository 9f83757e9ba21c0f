#include "core/window.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/unit/headless_curses.h"

namespace zrp {
namespace {

constexpr int kHeight = 5;
constexpr int kWidth = 12; // ten columns between the frames

class Window : public HeadlessCurses {
protected:
    void SetUp() override {
        HeadlessCurses::SetUp();
        window = create_newwin(kHeight, kWidth, 0, 0);
        ASSERT_NE(window, nullptr);
        for (int row = 0; row < kHeight; row++) {
            left[row] = mvwinch(window, row, 0);
            right[row] = mvwinch(window, row, kWidth - 1);
        }
    }

    void TearDown() override {
        for (int row = 0; row < kHeight; row++) {
            EXPECT_EQ(mvwinch(window, row, 0), left[row]) << "frame of row " << row;
            EXPECT_EQ(mvwinch(window, row, kWidth - 1), right[row]) << "frame of row " << row;
        }
        destroy_win(window);
    }

    [[nodiscard]] std::string row(int number) const {
        return row_of(window, number);
    }

    WINDOW* window = nullptr;
    chtype left[kHeight] = {};
    chtype right[kHeight] = {};
};

TEST_F(Window, PrintsFormattedTextAtItsPosition) {
    print_at(window, 2, 3, "%s=%d", "n", 7);
    EXPECT_EQ(row(2), "  n=7");
    EXPECT_EQ(row(1), "");
    EXPECT_EQ(row(3), "");
}

TEST_F(Window, CutsTextAtTheFrame) {
    print_at(window, 1, 1, "%s", "0123456789");
    print_at(window, 2, 4, "%s", "0123456789");
    print_at(window, 3, 10, "%s", "0123456789");
    EXPECT_EQ(row(1), "0123456789");
    EXPECT_EQ(row(2), "   0123456");
    EXPECT_EQ(row(3), "         0");
}

TEST_F(Window, CutsEvenTheLongestText) {
    print_at(window, 1, 1, "%s", std::string(100'000, 'x').c_str());
    EXPECT_EQ(row(1), "xxxxxxxxxx");
    EXPECT_EQ(row(2), "");
}

TEST_F(Window, PrintsNothingOutsideTheFrame) {
    for (const int outside : {-1, 0, kHeight - 1, kHeight, 1000}) {
        print_at(window, outside, 1, "%s", "text");
    }
    for (const int column : {-1, 0, kWidth - 1, kWidth, 1000}) {
        print_at(window, 1, column, "%s", "text");
    }
    for (int number = 1; number < kHeight - 1; number++) {
        EXPECT_EQ(row(number), "");
    }
}

TEST_F(Window, TurnsControlCharactersIntoQuestionMarks) {
    print_at(window, 1, 1, "%s", "a\x1B[2Jb");
    print_at(window, 2, 1, "%s", "a\nb\tc\rd\x7F");
    print_at(window, 3, 1, "%s", "a\xFF\x80z");
    EXPECT_EQ(row(1), "a?[2Jb");
    EXPECT_EQ(row(2), "a?b?c?d?");
    EXPECT_EQ(row(3), "a??z");
}

TEST_F(Window, DestroyingNoWindowLeavesTheTerminalUnchanged) {
    print_at(window, 1, 1, "%s", "kept");
    refresh_window(window);
    const std::string shown = terminal_row(1);
    ASSERT_NE(shown.find("kept"), std::string::npos);
    destroy_win(nullptr);
    EXPECT_EQ(row(1), "kept");
    EXPECT_EQ(terminal_row(1), shown);
}

TEST_F(Window, DestroyingAWindowClearsItFromTheTerminal) {
    WINDOW* const other = create_newwin(kHeight, kWidth, kHeight, 0);
    ASSERT_NE(other, nullptr);
    ASSERT_NE(terminal_row(kHeight), "");
    destroy_win(other);
    EXPECT_EQ(terminal_row(kHeight), "");
}

} // namespace
} // namespace zrp
