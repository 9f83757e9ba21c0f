// The results of the functions of the Connection screen and its dialog.
#include "common/requests/connections.h"
#include "common/result.h"
#include "screens/connection.h"
#include "tests/support/connection_replies.h"
#include "tests/support/failing_allocation.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/screen_fixture.h"
#include "tests/unit/traced.h"

namespace zrp::connection_screen_test {
namespace {

using namespace connection_fixture;

constexpr size_t kListRequestSize = 256;
constexpr size_t kInformationRequestSize = 512;
constexpr int kUnset = 4711;

// The child elements of a request.
std::string asked(const ScriptedPeer& daemon, size_t index) {
    const std::string text = daemon.requests().at(index);
    const size_t start = text.find('\n') + 1;
    return text.substr(start, text.rfind('\n') - start);
}

class ConnectionPage : public ScreenTest {
protected:
    int fetch(int startIndex, const std::string& bytes) {
        const Answering daemon({bytes});
        count = nextStart = kUnset;
        const int rc = fetchConnectionPage(startIndex, &count, &nextStart);
        request = asked(daemon, 0);
        return rc;
    }

    int count = kUnset;
    int nextStart = kUnset;
    std::string request;
};

TEST_F(ConnectionPage, OfTenEndingWithStation41ContinuesAtStation42) {
    EXPECT_EQ(fetch(20, reply(page(users(20, 9) + entry(41, "last")))), kOk);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(nextStart, 42);
    EXPECT_EQ(connectionPage[9].stationNumber, 41);
    EXPECT_EQ(request, "<startIndex>20</startIndex><maxItems>10</maxItems>");
}

TEST_F(ConnectionPage, OfNineIsTheLast) {
    EXPECT_EQ(fetch(-1, reply(page(users(1, 9)))), kOk);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(nextStart, -1);
    EXPECT_EQ(request, "<maxItems>10</maxItems>") << "-1 is the top of the list";
}

TEST_F(ConnectionPage, CountsStationsThatAreNotLoggedIn) {
    EXPECT_EQ(fetch(0, reply(page(users(1, 9) + entry(10, "NOT LOGGED IN")))), kOk);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(nextStart, 11);
}

TEST_F(ConnectionPage, ThatFailsHoldsNothing) {
    EXPECT_EQ(fetch(0, kStatusReply), static_cast<int>(kSomeStatus));
    EXPECT_EQ(count, 0);
    EXPECT_EQ(nextStart, -1);
    EXPECT_EQ(fetch(0, reply("<result value=\"-7\"/>" + page(users(1, 10)))), -7);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(nextStart, -1);
    const FailingMalloc failing(kListRequestSize);
    EXPECT_EQ(fetchConnectionPage(0, &count, &nextStart), kNoMemory);
}

TEST_F(ConnectionPage, OfOneEntryIsRequestedByItsStation) {
    const Answering daemon({reply(page(entry(7, "seven", "12"))), reply(page("")), kRefusalReply});
    ConnectionEntry found = {};
    EXPECT_EQ(fetchConnectionEntry(7, &found), kOk);
    EXPECT_EQ(found.stationNumber, 7);
    EXPECT_EQ(found.bytesRead, 12U);
    EXPECT_EQ(asked(daemon, 0), "<startIndex>7</startIndex><maxItems>1</maxItems>");
    EXPECT_EQ(fetchConnectionEntry(7, &found), kInvalid);
    EXPECT_EQ(fetchConnectionEntry(7, &found), kRefusalCode);
}

TEST_F(ConnectionPage, ThatCannotBeFetchedEndsTheDialogWithoutAChoice) {
    selectedConnection = 3;
    int fkeyHit = kUnset;
    int fkey = kUnset;
    const Answering daemon({kRefusalReply});
    EXPECT_EQ(SelectConnectionNumber(&fkeyHit, &fkey), kRange);
    EXPECT_EQ(selectedConnection, -1);
    EXPECT_EQ(fkeyHit, 0);
}

TEST_F(ConnectionPage, IsNotRequestedWithoutAWindow) {
    int fkeyHit = kUnset;
    int fkey = kUnset;
    const NoRoomForWindows none;
    const TraceText traced;
    EXPECT_EQ(SelectConnectionNumber(&fkeyHit, &fkey), kInvalid);
    EXPECT_TRUE(reports_missing_window(traced.get(), "SelectConnectionNumber")) << traced.get();
    EXPECT_EQ(selectedConnection, -1);
}

class ConnectionScreen : public ScreenTest {
protected:
    void SetUp() override {
        ScreenTest::SetUp();
        selectedConnection = 3;
    }

    void TearDown() override {
        selectedConnection = kNoConnection;
        ScreenTest::TearDown();
    }

    int update_with(const std::vector<std::string>& answers) {
        const Answering daemon(answers);
        return updateConnectionWindow(window);
    }

    const std::string good = reply(information(3, "someone"));
    const std::string goodEntry = reply(page(entry(3, "someone", "111")));
};

TEST_F(ConnectionScreen, WithoutAWindowIsOutOfRange) {
    EXPECT_EQ(drawConnectionLabels(nullptr), kRange);
    EXPECT_EQ(updateConnectionWindow(nullptr), kRange);
}

struct CodeCase {
    const char* what;
    std::vector<std::string> answers;
    int code;
};

TEST_F(ConnectionScreen, ReturnsTheCodeOfTheStepThatFailed) {
    const CodeCase cases[] = {
        {"status of the information", {kStatusReply}, static_cast<int>(kSomeStatus)},
        {"an error is a missing element here", {kRefusalReply}, kInvalid},
        {"empty information", {reply("")}, kInvalid},
        {"status of the entry", {good, kStatusReply}, static_cast<int>(kSomeStatus)},
        {"refused entry", {good, kRefusalReply}, kRefusalCode},
        {"no entry", {good, reply(page(""))}, kInvalid},
        {"all well", {good, goodEntry}, kOk},
    };
    for (const CodeCase& c : cases) {
        EXPECT_EQ(update_with(c.answers), c.code) << c.what;
        EXPECT_EQ(row(1), c.code == kOk ? std::string(17, ' ') + "(3) someone" : "") << c.what;
    }
    EXPECT_EQ(row(4), std::string(25, ' ') + "111");
}

TEST_F(ConnectionScreen, WithoutMemory) {
    {
        const FailingMalloc failing(kInformationRequestSize);
        EXPECT_EQ(updateConnectionWindow(window), kRequestNotBuilt);
    }
    {
        const FailingMalloc failing(kListRequestSize);
        EXPECT_EQ(update_with({good, goodEntry}), kNoMemory);
    }
    const FailingAllocation failing(sizeof(ConnectionInformation));
    EXPECT_EQ(update_with({good, goodEntry}), kNoMemory);
}

} // namespace
} // namespace zrp::connection_screen_test
