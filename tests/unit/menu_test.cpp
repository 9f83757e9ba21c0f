#include "core/menu.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zrp::menu_test {
namespace {

std::vector<std::string> menu_of(const std::vector<Screen>& screens) {
    const Menu menu = make_menu(screens);
    return {std::begin(menu.lines), std::end(menu.lines)};
}

TEST(Menu, NamesEachScreenBetweenTheKeysOfTheMonitor) {
    EXPECT_EQ(
        menu_of({{.key = KEY_F(3), .menuText = "Locks"}, {.key = KEY_F(11), .menuText = "X"}}),
        (std::vector<std::string>{"[F12] Exit [F3] Locks [F11] X [+/-] sec. [tab] Next Scr", ""}));
}

TEST(Menu, GoesOnOnTheSecondLineAtTheFirstEntryThatDoesNotFit) {
    // "[F12] Exit" and the blank after it take 11 columns, "[F2] " 5 more.
    const std::string fits(kMenuColumns - 16, 'x');
    EXPECT_EQ(menu_of({{.key = KEY_F(2), .menuText = fits.c_str()}}),
              (std::vector<std::string>{"[F12] Exit [F2] " + fits, "[+/-] sec. [tab] Next Scr"}));
    const std::string tooLong = fits + 'x';
    EXPECT_EQ(menu_of({{.key = KEY_F(2), .menuText = tooLong.c_str()}}),
              (std::vector<std::string>{"[F12] Exit", "[F2] " + tooLong}));
}

} // namespace
} // namespace zrp::menu_test
