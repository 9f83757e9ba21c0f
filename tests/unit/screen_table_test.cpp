#include "screens/screen_table.h"

#include <string>

#include <gtest/gtest.h>

#include "core/screen.h"

namespace zrp {
namespace {

TEST(Screens, StandInTheOrderOfTheirFunctionKeys) {
    const struct {
        int id;
        const char* name;
        bool dialog;
    } expected[] = {{266, "General", false},    {267, "Volume", true},
                    {268, "Connection", true},  {269, "Diagnostics", true},
                    {270, "Parameters", false}, {271, "Version", false}};
    ASSERT_EQ(kMonitorScreens.count, std::size(expected));
    for (size_t i = 0; i < std::size(expected); i++) {
        const Screen& screen = kMonitorScreens.screens[i];
        EXPECT_EQ(screen.id, expected[i].id);
        EXPECT_STREQ(screen.name, expected[i].name);
        EXPECT_EQ(screen.runDialog != nullptr, expected[i].dialog) << screen.name;
        EXPECT_NE(screen.drawLabels(nullptr), 0) << screen.name;
    }
}

TEST(Screens, AreFoundByTheirKeyAlone) {
    use_screens(kMonitorScreens);
    EXPECT_EQ(find_screen(269), &kMonitorScreens.screens[3]);
    for (const int key : {0, 265, 272, -1}) {
        EXPECT_EQ(find_screen(key), nullptr) << key;
    }
}

TEST(Screens, TheChainsGoRoundTheEnds) {
    use_screens(kMonitorScreens);
    const Screen* screen = find_screen(266);
    std::string forth;
    std::string back;
    for (size_t i = 0; i < kMonitorScreens.count; i++) {
        screen = next_screen(screen);
        forth += screen->name[0];
    }
    for (size_t i = 0; i < kMonitorScreens.count; i++) {
        screen = previous_screen(screen);
        back += screen->name[0];
    }
    EXPECT_EQ(forth, "VCDPVG");
    EXPECT_EQ(back, "VPDCVG");
}

} // namespace
} // namespace zrp
