// The Diagnostics and the Version screen without a window.
#include <gtest/gtest.h>

#include "common/result.h"
#include "screens/diagnostics.h"
#include "screens/version.h"

namespace zrp {
namespace {

TEST(DiagnosticsScreen, DrawsNothingWithoutAWindow) {
    EXPECT_EQ(diagValueColumn, 1);
    EXPECT_EQ(drawDiagnosticsLabels(nullptr), kRange);
    EXPECT_EQ(diagValueColumn, 1);
    currentDiagType = 1;
    EXPECT_EQ(updateDiagnosticsWindow(nullptr), kRange);
    currentDiagType = -1;
}

TEST(DiagnosticsScreen, DoesNothingBeforeAGroupWasChosen) {
    EXPECT_EQ(currentDiagType, -1);
    EXPECT_EQ(updateDiagnosticsWindow(nullptr), kOk);
}

TEST(VersionScreen, DrawsNothingWithoutAWindow) {
    EXPECT_EQ(drawVersionFrame(nullptr), kRange);
    EXPECT_EQ(drawVersionWindow(nullptr), kRange);
}

} // namespace
} // namespace zrp
