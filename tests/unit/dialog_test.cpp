#include "screens/dialog.h"

#include <climits>

#include <gtest/gtest.h>

namespace zrp::dialog_test {
namespace {

struct QuitCase {
    const char* input;
    bool quits;
};

TEST(Dialog, AnEmptyLineAndQQuit) {
    const QuitCase cases[] = {{"", true},    {"q", true},   {"Q", true},  {"quit", true},
                              {" q", false}, {"7q", false}, {"0", false}, {"+", false}};
    for (const QuitCase& c : cases) {
        EXPECT_EQ(zrp::is_quit(c.input), c.quits) << c.input;
    }
}

struct NumberCase {
    const char* input;
    int number;
};

TEST(Dialog, ATypedNumberEndsAtTheFirstOtherCharacter) {
    const NumberCase cases[] = {{"7abc", 7}, {" 12", 12}, {"+3", 3}, {" -5", -5},
                                {"abc", 0},  {"0x10", 0}, {"", 0}};
    for (const NumberCase& c : cases) {
        EXPECT_EQ(zrp::typed_number(c.input), c.number) << c.input;
    }
}

TEST(Dialog, ANumberOutOfRangeIsTheNearestInRange) {
    EXPECT_EQ(zrp::typed_number("4294967303"), INT_MAX); // 7 in the low 32 bits
    EXPECT_EQ(zrp::typed_number(" -4294967289"), INT_MIN);
    EXPECT_EQ(zrp::typed_number("99999999999999999999999999999999"), INT_MAX);
}

} // namespace
} // namespace zrp::dialog_test
