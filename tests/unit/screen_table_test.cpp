#include "screens/screen_table.h"

#include <gtest/gtest.h>

#include "core/menu.h"
#include "core/monitor.h"

namespace zrp {
namespace {

class ScreenTable : public testing::Test {
protected:
    void SetUp() override {
        use_screens(kMonitorScreens);
    }

    const std::span<const Screen> screens = kMonitorScreens.screens;
};

TEST_F(ScreenTable, HasTheScreensInTheOrderOfTheirFunctionKeys) {
    const struct {
        int key;
        const char* menuText;
        bool dialog;
    } expected[] = {{266, "General", false},    {267, "Volume", true},
                    {268, "Connection", true},  {269, "Diagnostics", true},
                    {270, "Parameters", false}, {271, "Version", false}};
    ASSERT_EQ(screens.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); i++) {
        EXPECT_EQ(screens[i].key, expected[i].key);
        EXPECT_STREQ(screens[i].menuText, expected[i].menuText);
        EXPECT_EQ(screens[i].runDialog != nullptr, expected[i].dialog) << screens[i].menuText;
    }
}

TEST_F(ScreenTable, GivesTheTwoLinesOfTheMenu) {
    const Menu menu = make_menu(screens);
    EXPECT_STREQ(menu.lines[0],
                 "[F12] Exit [F2] General [F3] Volume [F4] Connection [F5] Diagnostics");
    EXPECT_STREQ(menu.lines[1], "[F6] Parameters [F7] Version [+/-] sec. [tab] Next Scr");
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
} // namespace zrp
