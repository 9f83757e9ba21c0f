// The colours set at the start, and the two permanent windows.

#include "core/startup.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/result.h"
#include "core/monitor.h"
#include "core/terminal.h"
#include "core/window.h"
#include "tests/unit/headless_curses.h"

namespace zrp::startup_test {
namespace {

class PermanentWindows : public HeadlessCurses {
protected:
    void SetUp() override {
        HeadlessCurses::SetUp();
        columns = COLS;
        monitorState.screenLines = LINES;
        monitorState.screenCols = COLS;
    }

    void TearDown() override {
        COLS = columns;
        for (WINDOW** window : {&monitorState.upTimeWindow, &monitorState.mainWindow}) {
            destroy_win(*window);
            *window = nullptr;
        }
        monitorState.screenLines = 0;
        monitorState.screenCols = 0;
    }

    static void expect_geometry(WINDOW* window, int height, int width, int row) {
        EXPECT_EQ(getmaxy(window), height);
        EXPECT_EQ(getmaxx(window), width);
        EXPECT_EQ(getbegy(window), row);
        EXPECT_EQ(getbegx(window), 1);
    }

    int columns = 0;
};

TEST_F(PermanentWindows, AreAtTheirPositions) {
    ASSERT_EQ(create_uptime_window(), kOk);
    ASSERT_EQ(create_main_window(), kOk);
    expect_geometry(monitorState.upTimeWindow, 3, COLS - 2, 2);
    expect_geometry(monitorState.mainWindow, LINES - 10, COLS - 2, 5);
    EXPECT_EQ(row_of(monitorState.upTimeWindow, 1), "Server Up Time:");
}

TEST_F(PermanentWindows, AreNotCreatedTwice) {
    ASSERT_EQ(create_uptime_window(), kOk);
    ASSERT_EQ(create_main_window(), kOk);
    WINDOW* const strip = monitorState.upTimeWindow;
    WINDOW* const main = monitorState.mainWindow;
    EXPECT_EQ(create_uptime_window(), kRange);
    EXPECT_EQ(create_main_window(), kRange);
    EXPECT_EQ(monitorState.upTimeWindow, strip);
    EXPECT_EQ(monitorState.mainWindow, main);
}

TEST_F(PermanentWindows, FailIfNcursesCannotCreateThem) {
    COLS = 1;
    monitorState.screenCols = 1;
    EXPECT_EQ(create_uptime_window(), kNoMemory);
    EXPECT_EQ(create_main_window(), kNoMemory);
    EXPECT_EQ(monitorState.upTimeWindow, nullptr);
    EXPECT_EQ(monitorState.mainWindow, nullptr);
}

// Runs in a child process, since it opens the standard screen.
[[noreturn]] void open_and_check_colours() {
    constexpr short kExpected[][3] = {{1, COLOR_RED, COLOR_BLACK},  {2, COLOR_GREEN, COLOR_BLACK},
                                      {3, COLOR_WHITE, COLOR_BLUE}, {4, COLOR_BLUE, COLOR_BLACK},
                                      {5, COLOR_CYAN, COLOR_BLACK}, {6, COLOR_MAGENTA, COLOR_BLACK},
                                      {7, COLOR_WHITE, COLOR_BLACK}};
    setenv("TERM", "xterm-256color", 1);
    if (freopen("/dev/null", "w", stdout) == nullptr) {
        _exit(99);
    }
    open_terminal();
    int wrong = 0;
    for (const auto& [pair, foreground, background] : kExpected) {
        short actualForeground = -1;
        short actualBackground = -1;
        pair_content(pair, &actualForeground, &actualBackground);
        wrong += actualForeground == foreground && actualBackground == background ? 0 : 1;
    }
    _exit(wrong);
}

TEST(OpenTerminalDeathTest, RegistersTheSevenColourPairs) {
    EXPECT_EXIT(open_and_check_colours(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace zrp::startup_test
