#include "core/monitor.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "common/heap_text.h"

namespace zrp::monitor_test {
namespace {

TEST(Trace, WritesAndFlushesEachEvent) {
    char* text = nullptr;
    size_t size = 0;
    monitorState.traceFile = open_memstream(&text, &size);
    monitorState.traceEnabled = 1;
    trace("%s: rc=%d\n", "tag", -5);
    EXPECT_STREQ(text, "tag: rc=-5\n");
    trace("second\n");
    EXPECT_STREQ(text, "tag: rc=-5\nsecond\n");
    monitorState.traceEnabled = 0;
    trace("not enabled\n");
    fclose(monitorState.traceFile);
    monitorState.traceFile = nullptr;
    const HeapText owned(text);
    EXPECT_STREQ(text, "tag: rc=-5\nsecond\n");
}

TEST(Trace, WithoutAFileWritesNothingAnywhere) {
    ASSERT_EQ(monitorState.traceFile, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    trace("%s", "an event");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(std::filesystem::exists("zrptop.log"));
}

TEST(MonitorState, StartsAtTheGeneralScreenWithOneSecond) {
    EXPECT_EQ(monitorState.currentScreen.load(), 266);
    EXPECT_EQ(monitorState.refreshInterval.load(), 1);
}

} // namespace
} // namespace zrp::monitor_test
