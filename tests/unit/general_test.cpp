#include "screens/general.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "common/result.h"

namespace zrp {
namespace {

struct UpTimeCase {
    uint32_t seconds;
    const char* text;
};

TEST(FormatUpTime, LeavesOutZeroPartsButNeverTheSeconds) {
    constexpr uint32_t kDay = 86400;
    constexpr UpTimeCase kCases[] = {
        {0, "0 Seconds "},
        {1, "1 Second "},
        {59, "59 Seconds "},
        {60, "1 Minute 0 Seconds "},
        {61, "1 Minute 1 Second "},
        {120, "2 Minutes 0 Seconds "},
        {3600, "1 Hour 0 Seconds "},
        {7200 + 60, "2 Hours 1 Minute 0 Seconds "},
        {kDay, "1 Day 0 Seconds "},
        {90061, "1 Day 1 Hour 1 Minute 1 Second "},
        {kDay * 2 + 59, "2 Days 59 Seconds "},
        {kDay - 1, "23 Hours 59 Minutes 59 Seconds "},
        {UINT32_MAX, "49710 Days 6 Hours 28 Minutes 15 Seconds "},
    };
    for (const UpTimeCase& c : kCases) {
        char text[kUpTimeTextSize];
        format_up_time(c.seconds, text);
        EXPECT_STREQ(text, c.text) << c.seconds;
    }
}

TEST(General, WithoutAWindowIsInvalid) {
    EXPECT_EQ(drawGeneralLabels(nullptr), kInvalid);
    EXPECT_EQ(updateGeneralWindow(nullptr), kInvalid);
    updateUpTimeWindow();
}

} // namespace
} // namespace zrp
