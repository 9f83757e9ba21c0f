// The two permanent windows.

#include "core/startup.h"

#include <gtest/gtest.h>

#include "common/result.h"
#include "core/monitor.h"
#include "core/window.h"
#include "tests/unit/blind_curses.h"

namespace zrp {
namespace {

class PermanentWindows : public BlindCurses {
protected:
    void SetUp() override {
        BlindCurses::SetUp();
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

    static void expect_place(WINDOW* window, int height, int width, int row) {
        EXPECT_EQ(getmaxy(window), height);
        EXPECT_EQ(getmaxx(window), width);
        EXPECT_EQ(getbegy(window), row);
        EXPECT_EQ(getbegx(window), 1);
    }

    int columns = 0;
};

TEST_F(PermanentWindows, StandAtTheirPlaces) {
    ASSERT_EQ(create_uptime_window(), kOk);
    ASSERT_EQ(create_main_window(), kOk);
    expect_place(monitorState.upTimeWindow, 3, COLS - 2, 2);
    expect_place(monitorState.mainWindow, LINES - 10, COLS - 2, 5);
    EXPECT_EQ(row_of(monitorState.upTimeWindow, 1), "Server Up Time:");
}

TEST_F(PermanentWindows, AreNotMadeTwice) {
    ASSERT_EQ(create_uptime_window(), kOk);
    ASSERT_EQ(create_main_window(), kOk);
    WINDOW* const strip = monitorState.upTimeWindow;
    WINDOW* const main = monitorState.mainWindow;
    EXPECT_EQ(create_uptime_window(), kRange);
    EXPECT_EQ(create_main_window(), kRange);
    EXPECT_EQ(monitorState.upTimeWindow, strip);
    EXPECT_EQ(monitorState.mainWindow, main);
}

TEST_F(PermanentWindows, FailWhereNcursesCannotMakeThem) {
    COLS = 1;
    monitorState.screenCols = 1;
    EXPECT_EQ(create_uptime_window(), kNoMemory);
    EXPECT_EQ(create_main_window(), kNoMemory);
    EXPECT_EQ(monitorState.upTimeWindow, nullptr);
    EXPECT_EQ(monitorState.mainWindow, nullptr);
}

} // namespace
} // namespace zrp
