#include "screens/screen_table.h"

#include <gtest/gtest.h>

#include "core/menu.h"
#include "core/monitor.h"
#include "tests/support/expected_screens.h"

namespace zrp::screen_table_test {
namespace {

class ScreenTable : public testing::Test {
protected:
    void SetUp() override {
        use_screens(kMonitorScreens);
    }

    const std::span<const Screen> screens = kMonitorScreens.screens;
};

TEST_F(ScreenTable, HasTheScreensInTheOrderOfTheirFunctionKeys) {
    ASSERT_EQ(screens.size(), std::size(kExpectedScreens));
    for (size_t i = 0; i < screens.size(); i++) {
        const ExpectedScreen& expected = kExpectedScreens[i];
        EXPECT_EQ(screens[i].key, expected.key);
        EXPECT_STREQ(screens[i].menuText, expected.menuText);
        EXPECT_EQ(screens[i].runDialog != nullptr, expected.hasDialog) << expected.menuText;
    }
}

TEST_F(ScreenTable, GivesTheTwoLinesOfTheMenu) {
    const Menu menu = make_menu(screens);
    EXPECT_STREQ(menu.lines[0], kExpectedMenu[0]);
    EXPECT_STREQ(menu.lines[1], kExpectedMenu[1]);
}

TEST_F(ScreenTable, HoldsTheScreenOfTheStart) {
    EXPECT_EQ(find_screen(kStartScreen), screens.data());
}

TEST_F(ScreenTable, EveryScreenRefusesToDrawWithoutAWindow) {
    for (const Screen& screen : screens) {
        EXPECT_NE(screen.drawLabels(nullptr), 0) << screen.menuText;
    }
}

TEST_F(ScreenTable, IsSearchedByKeyAlone) {
    for (const Screen& screen : screens) {
        EXPECT_EQ(find_screen(screen.key), &screen);
    }
    for (const int key : {0, KEY_F(1), KEY_F(12), -1}) {
        EXPECT_EQ(find_screen(key), nullptr) << key;
    }
}

TEST_F(ScreenTable, TheNeighbourOfTheLastScreenIsTheFirst) {
    for (size_t i = 0; i < screens.size(); i++) {
        const size_t following = i + 1 == screens.size() ? 0 : i + 1;
        EXPECT_EQ(next_screen(&screens[i]), &screens[following]) << i;
        EXPECT_EQ(previous_screen(&screens[following]), &screens[i]) << i;
    }
}

} // namespace
} // namespace zrp::screen_table_test
