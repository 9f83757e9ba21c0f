// ncurses without a terminal: its output is dropped, and a test reads the cells of its windows.
#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <ncurses.h>

namespace zrp {

class HeadlessCurses : public testing::Test {
protected:
    HeadlessCurses() : nowhere_(fopen("/dev/null", "r+")) {
        screen_ = newterm("xterm", nowhere_, nowhere_);
    }

    ~HeadlessCurses() override {
        if (screen_ != nullptr) {
            endwin();
            delscreen(screen_);
        }
        fclose(nowhere_);
    }

    void SetUp() override {
        ASSERT_NE(screen_, nullptr);
    }

    // A row of the window between its frames, without the blanks at its end.
    static std::string row_of(WINDOW* window, int row) {
        return cells_of(window, row, 1, getmaxx(window) - 1);
    }

    // A row of what a terminal would show.
    static std::string terminal_row(int row) {
        return cells_of(curscr, row, 0, getmaxx(curscr));
    }

private:
    static std::string cells_of(WINDOW* window, int row, int first, int end) {
        std::string text;
        for (int column = first; column < end; column++) {
            text += static_cast<char>(mvwinch(window, row, column) & A_CHARTEXT);
        }
        return text.erase(text.find_last_not_of(' ') + 1);
    }

    FILE* nowhere_;
    SCREEN* screen_ = nullptr;
};

} // namespace zrp
