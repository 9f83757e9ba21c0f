// ncurses without a terminal: it draws for nobody, and a test reads the cells of its windows.
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
        std::string text;
        for (int column = 1; column < getmaxx(window) - 1; column++) {
            text += static_cast<char>(mvwinch(window, row, column) & A_CHARTEXT);
        }
        return text.erase(text.find_last_not_of(' ') + 1);
    }

private:
    FILE* nowhere_;
    SCREEN* screen_ = nullptr;
};

} // namespace zrp
