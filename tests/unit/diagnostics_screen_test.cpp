// The results of the Diagnostics screen's functions; and the Version screen without a window.
#include "common/heap_text.h"
#include "common/requests/diagnostics.h"
#include "common/result.h"
#include "screens/diag_counters.h"
#include "screens/diagnostics.h"
#include "screens/version.h"
#include "tests/support/failing_allocation.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/screen_fixture.h"
#include "tests/unit/traced.h"

namespace zrp::diagnostics_screen_test {
namespace {

TEST(DiagnosticsScreen, DrawsNothingWithoutAWindow) {
    EXPECT_EQ(diagValueColumn, 1);
    EXPECT_EQ(drawDiagnosticsLabels(nullptr), kRange);
    EXPECT_EQ(diagValueColumn, 1);
    currentDiagType = 1;
    EXPECT_EQ(updateDiagnosticsWindow(nullptr), kRange);
    currentDiagType = -1;
}

TEST(DiagnosticsScreen, DoesNothingBeforeAGroupIsChosen) {
    EXPECT_EQ(currentDiagType, -1);
    EXPECT_EQ(updateDiagnosticsWindow(nullptr), kOk);
}

constexpr size_t kRequestSize = 1024;

const std::string kServerReply = reply("<zrpConsoleReply><diagnostics><diagLevel>1</diagLevel>"
                                       "<diagValue value=\"17\">openFiles</diagValue>"
                                       "</diagnostics></zrpConsoleReply>");
const std::string kBksReply = reply("<zrp2bksDiagnosticReply><level>1</level>"
                                    "<zrp2bksValue value=\"17\">Request</zrp2bksValue>"
                                    "</zrp2bksDiagnosticReply>");

// A group of either daemon whose first row is the counter of the replies above.
struct DaemonCase {
    const char* socketName;
    int32_t type;
    const std::string& good;
    int failedExchange;
};

const DaemonCase kDaemons[] = {
    {kMainDaemonSocket, 1, kServerReply, kInvalid},
    {kStorageDaemonSocket, 12, kBksReply, static_cast<int>(kSomeStatus)},
};

class DiagnosticsUpdate : public ScreenTest {
protected:
    void SetUp() override {
        ScreenTest::SetUp();
        inithashtable();
    }

    void TearDown() override {
        currentDiagType = kNoDiagType;
        diagValueColumn = 1;
        releasehashtable();
        ScreenTest::TearDown();
    }

    // Redraws the group's screen and updates it.
    int update_with(const DaemonCase& daemon, const std::string& bytes) {
        const Answering peer({bytes}, daemon.socketName);
        currentDiagType = daemon.type;
        werase(window);
        EXPECT_EQ(drawDiagnosticsLabels(window), kOk);
        return updateDiagnosticsWindow(window);
    }

    // The text after the first label.
    std::string first_value() const {
        const std::string text = row(2);
        return text.size() < 38 ? "" : text.substr(38);
    }
};

TEST_F(DiagnosticsUpdate, ReturnsTheStorageDaemonsStatusButInvalidForAnyOfTheMainDaemons) {
    for (const DaemonCase& daemon : kDaemons) {
        EXPECT_EQ(update_with(daemon, kStatusReply), daemon.failedExchange) << daemon.type;
        EXPECT_EQ(first_value(), "") << daemon.type;
    }
}

TEST_F(DiagnosticsUpdate, OfAnEmptyReplyDrawsNothing) {
    for (const DaemonCase& daemon : kDaemons) {
        EXPECT_EQ(update_with(daemon, reply("")), kOk);
        EXPECT_EQ(first_value(), "") << daemon.type;
    }
}

TEST_F(DiagnosticsUpdate, OfADamagedReplyDrawsTheKnownValues) {
    for (const DaemonCase& daemon : kDaemons) {
        EXPECT_EQ(update_with(daemon, reply("<a/>")), kOk);
        EXPECT_EQ(first_value(), "0") << daemon.type;
        EXPECT_EQ(update_with(daemon, daemon.good), kOk);
        EXPECT_EQ(first_value(), "17") << daemon.type;
        EXPECT_EQ(update_with(daemon, kRefusalReply), kOk);
        EXPECT_EQ(first_value(), "17") << daemon.type;
    }
}

TEST_F(DiagnosticsUpdate, TracesEachCounterOfTheReplyAndNothingElse) {
    for (const DaemonCase& daemon : kDaemons) {
        const TraceText traced;
        EXPECT_EQ(update_with(daemon, daemon.good), kOk);
        const std::string name = daemon.type == 1 ? "openFiles" : "Request";
        EXPECT_EQ(traced.get(), "find " + name + " --- value set = 17\n");
    }
    releasehashtable();
    const TraceText traced;
    EXPECT_EQ(update_with(kDaemons[0], kServerReply), kOk);
    EXPECT_EQ(traced.get(), "find openFiles --- NOT FOUND\n");
}

TEST_F(DiagnosticsUpdate, WithoutTablesShowsZeros) {
    releasehashtable();
    for (const DaemonCase& daemon : kDaemons) {
        EXPECT_EQ(update_with(daemon, daemon.good), kOk);
        EXPECT_EQ(first_value(), "0") << daemon.type;
    }
}

TEST_F(DiagnosticsUpdate, WithoutMemoryForItsRequestOrItsWrapper) {
    for (const DaemonCase& daemon : kDaemons) {
        const FailingMalloc failing(kRequestSize);
        currentDiagType = daemon.type;
        EXPECT_EQ(updateDiagnosticsWindow(window), kNoMemory) << daemon.type;
    }
    uint32_t length = 0;
    HeapText(BuildZrp2bksDiagnosticRequest(&length, kDiagnosticsLevel, 0));
    const FailingAllocation failing(length + 32);
    currentDiagType = 12;
    EXPECT_EQ(updateDiagnosticsWindow(window), kNoMemory);
}

TEST_F(DiagnosticsUpdate, PutsValuesAfterTheColumnSetByTheLabels) {
    const Answering daemon({kServerReply});
    currentDiagType = 1;
    EXPECT_EQ(drawDiagnosticsLabels(window), kOk);
    EXPECT_EQ(diagValueColumn, 38);
    diagValueColumn = 1;
    werase(window);
    EXPECT_EQ(updateDiagnosticsWindow(window), kOk);
    EXPECT_EQ(row(2), " 17");
}

TEST_F(DiagnosticsUpdate, HasNoDialogWithoutRoomForItsWindow) {
    const NoRoomForWindows none;
    int fkeyHit = 0;
    int fkey = 0;
    const TraceText traced;
    EXPECT_EQ(SelectDiagnosticsType(&fkeyHit, &fkey), kInvalid);
    EXPECT_TRUE(reports_missing_window(traced.get(), "SelectDiagnosticsType")) << traced.get();
    EXPECT_EQ(currentDiagType, kNoDiagType);
}

TEST(VersionScreen, DrawsNothingWithoutAWindow) {
    EXPECT_EQ(drawVersionFrame(nullptr), kRange);
    EXPECT_EQ(drawVersionWindow(nullptr), kRange);
}

} // namespace
} // namespace zrp::diagnostics_screen_test
