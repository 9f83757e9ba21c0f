#include "common/requests/connection_management.h"

#include "common/requests/connections.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::connection_management_test {
namespace {

std::string clear_request(Stations stations) {
    uint32_t length = 0;
    char* document = BuildClearConnectionRequest(stations, &length);
    return built(document, length);
}

std::string clear_all_request(Stations exceptions) {
    uint32_t length = 0;
    char* document = BuildClearAllConnectionsRequest(exceptions, &length);
    return built(document, length);
}

std::string clear_not_logged_in_request() {
    uint32_t length = 0;
    char* document = BuildClearNotLoggedInRequest(&length);
    return built(document, length);
}

std::string broadcast_request(const char* message, Stations stations) {
    uint32_t length = 0;
    char* document = BuildBroadcastMessageRequest(message, stations, &length);
    return built(document, length);
}

constexpr int32_t kTwo[] = {3, 41};

TEST(ClearConnectionRequest, CountsAndNamesTheStations) {
    EXPECT_EQ(clear_request(kTwo),
              "<zrpConsoleRequest pid=\"PID\"><clearConnection>\n"
              "<stationNumberCount>2</stationNumberCount>"
              "<stationNumberTag>3</stationNumberTag><stationNumberTag>41</stationNumberTag>\n"
              "</clearConnection></zrpConsoleRequest>");
}

TEST(ClearConnectionRequest, AllMayHaveExceptions) {
    EXPECT_EQ(clear_all_request({}),
              "<zrpConsoleRequest pid=\"PID\"><clearConnection>\n"
              "<allStations>All</allStations>\n</clearConnection></zrpConsoleRequest>");
    EXPECT_EQ(clear_all_request(kTwo),
              request_with("clearConnection", "<allStations>All</allStations>"
                                              "<exceptionNumberTag>3</exceptionNumberTag>"
                                              "<exceptionNumberTag>41</exceptionNumberTag>"));
}

TEST(ClearConnectionRequest, ThoseWithoutALoginHaveAWord) {
    EXPECT_EQ(clear_not_logged_in_request(),
              "<zrpConsoleRequest pid=\"PID\"><clearConnection>\n"
              "<stationNumberTag>NLI</stationNumberTag>\n</clearConnection></zrpConsoleRequest>");
}

TEST(ClearConnectionRequest, NoStationsAreRefused) {
    EXPECT_EQ(clear_request({}), "(null)");
    EXPECT_EQ(errno, EINVAL);
}

TEST(ClearConnectionRequest, ALongListHasRoom) {
    const std::vector<int32_t> stations(2000, INT32_MIN);
    std::string elements;
    std::string exceptions;
    for (size_t i = 0; i < stations.size(); i++) {
        elements += "<stationNumberTag>-2147483648</stationNumberTag>";
        exceptions += "<exceptionNumberTag>-2147483648</exceptionNumberTag>";
    }
    EXPECT_EQ(clear_request(stations),
              request_with("clearConnection",
                           "<stationNumberCount>2000</stationNumberCount>" + elements));
    EXPECT_EQ(clear_all_request(stations),
              request_with("clearConnection", "<allStations>All</allStations>" + exceptions));
    const std::string message(5000, 'x');
    EXPECT_EQ(broadcast_request(message.c_str(), stations),
              request_with("broadcastMessage", "<stationList>" + elements +
                                                   "</stationList><message>" + message +
                                                   "</message>"));
}

TEST(BroadcastMessageRequest, NamesStationsOnlyWhenThereAreSome) {
    EXPECT_EQ(broadcast_request("hello, all", {}),
              "<zrpConsoleRequest pid=\"PID\"><broadcastMessage>\n<message>hello, all</message>\n"
              "</broadcastMessage></zrpConsoleRequest>");
    EXPECT_EQ(broadcast_request("hello", kTwo),
              "<zrpConsoleRequest pid=\"PID\"><broadcastMessage>\n<stationList>"
              "<stationNumberTag>3</stationNumberTag><stationNumberTag>41</stationNumberTag>"
              "</stationList><message>hello</message>\n</broadcastMessage></zrpConsoleRequest>");
}

TEST(BroadcastMessageRequest, TheMessageStandsAsItIsOrIsRefused) {
    for (const std::string& text : sendable_texts()) {
        EXPECT_EQ(broadcast_request(text.c_str(), {}),
                  request_with("broadcastMessage", "<message>" + text + "</message>"));
    }
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildBroadcastMessageRequest(text, kTwo, length);
    });
}

struct EmptyScan {
    const char* command;
    int (*scan)(char* reply, int replyLength);
};

TEST(ConnectionReply, SaysThatTheServerHasObeyed) {
    for (const EmptyScan& row : {EmptyScan{"clearConnection", ScanClearConnectionReply},
                                 EmptyScan{"broadcastMessage", ScanBroadcastMessageReply}}) {
        const std::string command = row.command;
        expect_prefixes_fail(reply_with(command, "<stationNumberCount>2</stationNumberCount>"),
                             row.scan);
        expect_prefixes_fail("<zrpConsoleReply><" + command + "/></zrpConsoleReply>", row.scan);
        const std::string other = reply_with("other", "");
        EXPECT_EQ(row.scan(ExactBlock(other).begin(), static_cast<int>(other.size())), kInvalid);
    }
}

// Each operation, the request that it sends, the command that its reply must name, and the room
// that its request takes.
struct ConnectionRow {
    const char* name;
    int (*run)(ErrorText* errorText, const LogContext* log);
    std::string request;
    const char* command;
    size_t room;
};

int run_clear(ErrorText* errorText, const LogContext* log) {
    return ClearConnection(kTwo, errorText, log);
}

int run_clear_all(ErrorText* errorText, const LogContext* log) {
    return ClearAllConnections(kTwo, errorText, log);
}

int run_broadcast(ErrorText* errorText, const LogContext* log) {
    return BroadcastMessage("hello", errorText, log);
}

int run_broadcast_to(ErrorText* errorText, const LogContext* log) {
    return BroadcastMessageToStations("hello", kTwo, errorText, log);
}

std::vector<ConnectionRow> operations_of_connections() {
    return {
        {"clear", run_clear, clear_request(kTwo), "clearConnection", 256 + 2 * 56},
        {"clear all", run_clear_all, clear_all_request(kTwo), "clearConnection", 256 + 2 * 56},
        {"clear NLI", ClearNotLoggedInConnections, clear_not_logged_in_request(), "clearConnection",
         3 + 255},
        {"broadcast", run_broadcast, broadcast_request("hello", {}), "broadcastMessage", 5 + 255},
        {"broadcast to", run_broadcast_to, broadcast_request("hello", kTwo), "broadcastMessage",
         5 + 255 + 2 * 56},
    };
}

using ConnectionOperation = CatalogueTest;

TEST_F(ConnectionOperation, ItsReplyMustNameTheCommand) {
    for (const ConnectionRow& row : operations_of_connections()) {
        SCOPED_TRACE(row.name);
        ScriptedPeer peer(kMainDaemonSocket,
                          answer_with({reply_with(row.command, ""), reply_with("other", ""), ""}));
        EXPECT_EQ(row.run(nullptr, log), kOk);
        EXPECT_EQ(row.run(nullptr, nullptr), kInvalid);
        EXPECT_EQ(row.run(nullptr, nullptr), kInvalid);
        EXPECT_EQ(document_of(peer.requests().at(0)), row.request);
    }
    EXPECT_EQ(contents(), "");
}

TEST_F(ConnectionOperation, EachFaultHasItsCodeAndItsLine) {
    for (const ConnectionRow& row : operations_of_connections()) {
        SCOPED_TRACE(row.name);
        expect_faults(kMainDaemonSocket,
                      [&](ErrorText* errorText, LogContext* to) { return row.run(errorText, to); });
    }
}

TEST_F(ConnectionOperation, WithoutMemoryNothingIsSent) {
    for (const ConnectionRow& row : operations_of_connections()) {
        SCOPED_TRACE(row.name);
        expect_no_memory(row.room, [&](LogContext* to) { return row.run(nullptr, to); });
    }
}

TEST_F(ConnectionOperation, AnEmptyListDoesNotReachEverybody) {
    expect_not_sent([](LogContext* to) { return ClearConnection({}, nullptr, to); }, kInvalid);
    expect_not_sent(
        [](LogContext* to) { return BroadcastMessageToStations("hello", {}, nullptr, to); },
        kInvalid);
}

TEST_F(ConnectionOperation, AHostileMessageIsNotSent) {
    for (const char* text : unsendable_texts()) {
        expect_not_sent([&](LogContext* to) { return BroadcastMessage(text, nullptr, to); },
                        kInvalid);
        expect_not_sent(
            [&](LogContext* to) { return BroadcastMessageToStations(text, kTwo, nullptr, to); },
            kInvalid);
    }
}

class ConnectionsOfTheServer : public ServerTest {
protected:
    // Station numbers and names of all connections that the server lists.
    static std::map<int32_t, std::string> connections() {
        uint32_t length = 0;
        char* document = BuildListConnectionsRequest(0, 1000, &length);
        std::string reply = ask(document, length);
        std::map<int32_t, std::string> found;
        ConnectionEntry entry = {};
        int offset = 0;
        while (ScanListConnectionsReply(reply.data(), static_cast<int>(reply.size()), &offset,
                                        &entry) == kOk) {
            found.emplace(entry.stationNumber, entry.name);
        }
        return found;
    }
};

TEST_F(ConnectionsOfTheServer, StationsAreCleared) {
    auto before = connections();
    ASSERT_GT(before.size(), 10U);
    const int32_t stations[] = {before.begin()->first, before.rbegin()->first};
    EXPECT_EQ(ClearConnection(stations, &errorText, nullptr), kOk) << errorText;
    before.erase(stations[0]);
    before.erase(stations[1]);
    EXPECT_EQ(connections(), before);
}

TEST_F(ConnectionsOfTheServer, ThoseWithoutALoginAreCleared) {
    auto before = connections();
    EXPECT_GT(std::erase_if(before, [](const auto& one) { return one.second == "NOT LOGGED IN"; }),
              0U);
    EXPECT_EQ(ClearNotLoggedInConnections(&errorText, nullptr), kOk) << errorText;
    EXPECT_EQ(connections(), before);
}

TEST_F(ConnectionsOfTheServer, AllButTheExceptionsAreCleared) {
    const int32_t spared = connections().begin()->first;
    EXPECT_EQ(ClearAllConnections(Stations(&spared, 1), &errorText, nullptr), kOk) << errorText;
    const auto left = connections();
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left.begin()->first, spared);
    EXPECT_EQ(ClearAllConnections({}, &errorText, nullptr), kOk) << errorText;
    EXPECT_TRUE(connections().empty());
}

TEST_F(ConnectionsOfTheServer, ARefusalTellsWhy) {
    constexpr int32_t kNobody[] = {999999};
    EXPECT_EQ(ClearConnection(kNobody, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such connection: 999999");
    EXPECT_EQ(BroadcastMessageToStations("hello", kNobody, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such connection: 999999");
    EXPECT_EQ(BroadcastMessage("", &errorText, nullptr), 22);
    EXPECT_STREQ(errorText, "22 message is empty");
}

TEST_F(ConnectionsOfTheServer, AMessageIsTaken) {
    const int32_t station = connections().begin()->first;
    EXPECT_EQ(BroadcastMessage("going down", &errorText, nullptr), kOk) << errorText;
    EXPECT_EQ(BroadcastMessageToStations("you", Stations(&station, 1), &errorText, nullptr), kOk)
        << errorText;
}

} // namespace
} // namespace zrp::connection_management_test
