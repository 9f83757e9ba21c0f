// QueryConnections and GetConnections: connections over one and over all pages.
#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/client.h"
#include "common/exchange_state.h"
#include "common/requests/connections.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::connection_walk_test {
namespace {

std::string connection(int station) {
    const std::string digits = std::to_string(station);
    return "<connectionTag><stationNumberTag>" + digits +
           "</stationNumberTag><zrpRequests>1</zrpRequests><bytesRead>2</bytesRead>"
           "<bytesWritten>3</bytesWritten><name>U" +
           digits +
           "</name><loginTime>t</loginTime><licensedState>Yes</licensedState>"
           "<encrypted>No</encrypted><mfa>No</mfa></connectionTag>";
}

std::string connections(int first, int count) {
    std::string text;
    for (int i = 0; i < count; i++) {
        text += connection(first + i);
    }
    return text;
}

std::string page(const std::string& content) {
    return reply_with("listConnections", content);
}

struct Walk {
    int rc = kOk;
    std::vector<int> stations;
};

struct Visits {
    std::vector<int> stations;
    int stopAt = -1;
};

int visit(void* context, const ConnectionEntry& entry) {
    auto* visits = static_cast<Visits*>(context);
    visits->stations.push_back(entry.stationNumber);
    return entry.stationNumber == visits->stopAt ? -77 : kOk;
}

Walk walk(int stopAt = -1) {
    Visits visits = {{}, stopAt};
    Walk walk;
    walk.rc = GetConnections(visit, nullptr, &visits);
    walk.stations = visits.stations;
    return walk;
}

class ConnectionWalk : public testing::Test {
protected:
    ConnectionWalk() {
        IPCServInit(kMainDaemonSocket);
    }
    ~ConnectionWalk() override {
        IPCServTerm();
    }
};

TEST_F(ConnectionWalk, GivesEveryConnectionOfEveryPage) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({page(connections(1, 100)),
                                   page("<startIndex>300</startIndex>" + connections(150, 2)),
                                   page(connections(300, 99))}));
    const Walk walked = walk();
    EXPECT_EQ(walked.rc, kOk);
    EXPECT_EQ(walked.stations.size(), 201U);
    EXPECT_TRUE(std::is_sorted(walked.stations.begin(), walked.stations.end()));
    const std::vector<std::string> requests = peer.requests();
    ASSERT_EQ(requests.size(), 3U);
    const std::string tail = "<maxItems>100</maxItems>";
    EXPECT_EQ(document_of(requests[0]), request_with("listConnections", tail));
    EXPECT_EQ(document_of(requests[1]),
              request_with("listConnections", "<startIndex>101</startIndex>" + tail));
    EXPECT_EQ(document_of(requests[2]),
              request_with("listConnections", "<startIndex>300</startIndex>" + tail));
}

TEST_F(ConnectionWalk, MayFindNone) {
    const ScriptedPeer peer(kMainDaemonSocket, answer_with({page("")}));
    EXPECT_EQ(walk().rc, kOk);
}

TEST_F(ConnectionWalk, EndsWithWhatTheCallbackReturned) {
    const ScriptedPeer peer(kMainDaemonSocket, answer_with({page(connections(1, 100))}));
    const Walk walked = walk(7);
    EXPECT_EQ(walked.rc, -77);
    EXPECT_EQ(walked.stations.back(), 7);
}

TEST_F(ConnectionWalk, ABadEntryIsAFailure) {
    for (const char* bad : {"<connectionTag/>", "<connectionTag></connectionTag>",
                            "<connectionTag><stationNumberTag>2</stationNumberTag></connectionTag>",
                            "<connectionTag><stationNumberTag>2</stationNumberTag>"}) {
        const ScriptedPeer peer(kMainDaemonSocket,
                                answer_with({page(connection(1) + bad + connection(3))}));
        const Walk walked = walk();
        EXPECT_EQ(walked.rc, kInvalid) << bad;
        EXPECT_EQ(walked.stations, std::vector<int>{1}) << bad;
        EXPECT_EQ(client::ListConnections().code, kInvalid) << bad;
    }
}

TEST_F(ConnectionWalk, APageThatWasCutIsAFailureWithoutConnections) {
    const std::string whole = page(connections(1, 2));
    std::vector<std::string> texts;
    for (size_t size = 0; size < whole.size(); size++) {
        texts.push_back(whole.substr(0, size));
    }
    texts.emplace_back("garbage");
    const size_t count = texts.size();
    const ScriptedPeer peer(kMainDaemonSocket, answer_with(texts));
    for (size_t i = 0; i < count; i++) {
        const Walk walked = walk();
        EXPECT_EQ(walked.rc, kInvalid) << i;
        EXPECT_TRUE(walked.stations.empty()) << i;
    }
    EXPECT_EQ(client::ListConnections().code, kInvalid);
}

TEST_F(ConnectionWalk, AListThatDoesNotAdvanceIsBrokenOff) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({page("<startIndex>5</startIndex>" + connection(1))}));
    EXPECT_EQ(walk().rc, kRange);
    EXPECT_EQ(peer.connections(), 2U);
    EXPECT_EQ(client::ListConnections().code, kRange);
}

TEST_F(ConnectionWalk, TheLastStationHasNoNextPage) {
    ScriptedPeer peer(kMainDaemonSocket, answer_with({page(connections(INT32_MAX - 99, 100))}));
    EXPECT_EQ(walk().rc, kOk);
    EXPECT_EQ(client::ListConnections().code, kOk);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(ConnectionWalk, ReturnsTheErrorOfServerAndTransport) {
    EXPECT_EQ(walk().rc, ECONNREFUSED);
    const ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({"<zrpConsoleReply><result value=\"5\"/></zrpConsoleReply>"}));
    EXPECT_EQ(walk().rc, 5);
    EXPECT_EQ(GetConnections(nullptr, nullptr, nullptr), kInvalid);
}

TEST(QueryConnections, AListThatBreaksOffIsAFailure) {
    const std::string whole = page(connections(1, 2));
    const std::vector<std::pair<std::string, int>> rows = {
        {whole, 2},
        {whole.substr(0, whole.size() - 1), 0},
        {whole.substr(0, whole.size() / 2), 0},
        {"garbage", 0},
        {"", 0},
        {page(connection(1) + "<connectionTag/>"), 1},
    };
    for (const auto& [text, expected] : rows) {
        const ScriptedPeer peer(kMainDaemonSocket, answer_with({text}));
        ConnectionEntry entries[3] = {};
        int count = 77;
        EXPECT_EQ(QueryConnections(0, entries, &count), &text == &rows[0].first ? kOk : kInvalid)
            << text;
        EXPECT_EQ(count, expected) << text;
    }
}

TEST(QueryConnections, ReadsAsManyAsThereIsRoomFor) {
    const ScriptedPeer peer(kMainDaemonSocket, answer_with({page(connections(1, 5))}));
    ConnectionEntry entries[3] = {};
    int count = 0;
    EXPECT_EQ(QueryConnections(0, entries, &count), kOk);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(entries[2].stationNumber, 3);
}

TEST(QueryConnectionPage, AListThatBreaksOffShowsInTheStateAlone) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            answer_with({page(connection(1) + "<connectionTag/>")}));
    ConnectionEntry entries[3] = {};
    int count = 0;
    EXPECT_EQ(QueryConnectionPage(0, entries, &count), kOk);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(GetExchangeState(DaemonId::kMain).last.replyCode, kInvalid);
}

} // namespace
} // namespace zrp::connection_walk_test
