#include "core/window.h"

#include <clocale>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/headless_curses.h"

namespace zrp::window_test {
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

struct WideLocale {
    const char* set = setlocale(LC_CTYPE, "C.UTF-8");

    ~WideLocale() {
        setlocale(LC_CTYPE, "C");
    }
};

// The same cells as those of waddstr(), and the cursor in the same place, whatever was there
// before.
class WideWindow : WideLocale, public HeadlessCurses { // ncurses looks at the locale first
protected:
    static constexpr int kColumns = 400; // more than are written at once

    void SetUp() override {
        HeadlessCurses::SetUp();
        ASSERT_NE(set, nullptr);
        for (WINDOW* window : {printed, added}) {
            ASSERT_NE(window, nullptr);
            wattr_on(window, COLOR_PAIR(kMenuPair), nullptr);
            wbkgd(window, COLOR_PAIR(kBoxedPair) | A_BOLD);
            werase(window);
        }
    }

    ~WideWindow() override {
        delwin(printed);
        delwin(added);
    }

    struct Piece {
        std::string text;
        int columns = 0;
    };

    Piece random_piece() {
        static const std::vector<Piece> kGlyphs = {{"a", 1}, {" ", 1},      {"~", 1},
                                                   {"ü", 1}, {"\u2500", 1}, {"\u4e2d", 2}};
        Piece piece;
        const size_t first = below(2) == 0 ? 0 : below(kGlyphs.size());
        for (size_t left = below(below(8) == 0 ? 300 : 30); left > 0; left--) {
            const Piece& glyph = kGlyphs[below(2) == 0 ? first : below(kGlyphs.size())];
            piece.text += glyph.text;
            piece.columns += glyph.columns;
        }
        return piece;
    }

    size_t below(size_t end) {
        return std::uniform_int_distribution<size_t>(0, end - 1)(random);
    }

    static cchar_t cell_of(WINDOW* window, int row, int column) {
        cchar_t cell = {};
        mvwin_wch(window, row, column, &cell);
        return cell;
    }

    // 0 for a character of one column, otherwise 1 for the left half and 2 for the right one.
    static attr_t half_in(WINDOW* window, int row, int column) {
        return cell_of(window, row, column).attr & A_CHARTEXT;
    }

    // waddstr() leaves the half of a character there whose other half it overwrites, which no
    // terminal can show.
    [[nodiscard]] cchar_t expected_cell(int row, int column) const {
        cchar_t cell = cell_of(added, row, column);
        const attr_t half = cell.attr & A_CHARTEXT;
        const bool isAlone = (half == 1 && half_in(added, row, column + 1) != 2) ||
                             (half == 2 && half_in(added, row, column - 1) != 1);
        if (isAlone) {
            cell.chars[0] = L' ';
            cell.attr -= half;
        }
        return cell;
    }

    void expect_equal() const {
        int rows[2] = {};
        int columns[2] = {};
        getyx(printed, rows[0], columns[0]);
        getyx(added, rows[1], columns[1]);
        ASSERT_EQ(rows[0], rows[1]);
        ASSERT_EQ(columns[0], columns[1]);
        for (int column = 0; column < kColumns; column++) {
            const cchar_t shown = cell_of(printed, rows[0], column);
            const cchar_t expected = expected_cell(rows[0], column);
            ASSERT_EQ(shown.chars[0], expected.chars[0]) << "column " << column;
            ASSERT_EQ(shown.attr, expected.attr) << "column " << column;
            ASSERT_EQ(shown.ext_color, expected.ext_color) << "column " << column;
        }
        wmove(printed, rows[0], columns[0]);
        wmove(added, rows[1], columns[1]);
    }

    std::mt19937 random{7};
    WINDOW* printed = newpad(3, kColumns);
    WINDOW* added = newpad(3, kColumns);
};

TEST_F(WideWindow, PrintsTheCellsOfWaddstr) {
    for (int i = 0; i < 2000 && !HasFatalFailure(); i++) {
        const Piece piece = random_piece();
        const int column = static_cast<int>(1 + below(kColumns - 2));
        if (column + piece.columns > kColumns - 1) {
            continue;
        }
        SCOPED_TRACE(piece.text);
        print_at(printed, 1, column, "%s", piece.text.c_str());
        mvwaddstr(added, 1, column, piece.text.c_str());
        expect_equal();
    }
}

TEST_F(WideWindow, CutsBeforeACharacterThatDoesNotFit) {
    print_in(printed, 1, 1, 4, "%s", "abc\u4e2d");
    mvwaddstr(added, 1, 1, "abc");
    expect_equal();
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
} // namespace zrp::window_test
