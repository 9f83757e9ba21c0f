// Connections, their files and locks.
#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::client_connections_test {
namespace {

class ClientConnections : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.ready());
    }

    const SimulatedServer server{{"--volumes", "9", "--connections", "250", "--clock", "1000"}};
    const client::Session session;
};

// A server that a test writes itself.
class ClientConnectionPages : public ::testing::Test {
protected:
    const client::Session session;
};

std::string entry(int station) {
    return "<connectionTag><stationNumberTag>" + std::to_string(station) +
           "</stationNumberTag><zrpRequests>1</zrpRequests><bytesRead>2</bytesRead>"
           "<bytesWritten>3</bytesWritten><name>admin</name><loginTime>now</loginTime>"
           "<licensedState>Yes</licensedState><encrypted>No</encrypted><mfa>Disabled</mfa>"
           "</connectionTag>";
}

std::string connections(int first, int count) {
    std::string items;
    for (int i = 0; i < count; i++) {
        items += entry(first + i);
    }
    return reply("<zrpConsoleReply><listConnections>" + items +
                 "</listConnections></zrpConsoleReply>");
}

TEST_F(ClientConnections, AListOfSeveralPagesGoesThroughARangeFor) {
    const auto all = client::ListConnections();
    ASSERT_TRUE(all) << Describe(all);
    int32_t next = 1;
    for (const client::Connection& connection : all.value) {
        EXPECT_EQ(connection.station, next++);
    }
    EXPECT_EQ(next, 251);
    const client::Connection& first = all.value.at(0);
    EXPECT_EQ(first.name, "hmeier.users.hq.acme");
    EXPECT_EQ(first.loginTime, "2026-04-22 00:16:40");
    EXPECT_EQ(first.licensed, "Yes");
    EXPECT_TRUE(first.encrypted == "Yes" || first.encrypted == "No");
    EXPECT_TRUE(first.mfa == "Enabled" || first.mfa == "Disabled");
}

TEST_F(ClientConnections, ACallbackMayStop) {
    int seen = 0;
    EXPECT_TRUE(client::ForEachConnection([&](const client::Connection&) { return ++seen < 130; }));
    EXPECT_EQ(seen, 130);
}

TEST_F(ClientConnections, OneConnectionComesWithItsFilesAndNames) {
    const auto one = client::GetConnection(1);
    ASSERT_TRUE(one) << Describe(one);
    const client::ConnectionDetails copy = one.value;
    EXPECT_EQ(copy.connection.station, 1);
    EXPECT_EQ(copy.connection.name, "hmeier.users.hq.acme");
    EXPECT_EQ(copy.networkAddress, "10.1.0.2");
    EXPECT_EQ(copy.loginTime, 1776816000U + 1000U);
    EXPECT_EQ(copy.openFiles,
              (std::vector<std::string>{"ARCHIVE:reports/q2.ods", "SYS:src/build.log",
                                        "DATA:src/build.log", "MAIL:plans/übersicht.md"}));
    ASSERT_EQ(copy.securityEquals.size(), 2U);
    EXPECT_EQ(copy.securityEquals[0], "everyone.groups.acme");
    const auto none = client::GetConnection(9999);
    EXPECT_EQ(Describe(none), "2 no such connection: 9999");
}

TEST_F(ClientConnections, SlotsAreCounted) {
    const auto slots = client::GetConnectionSlots();
    ASSERT_TRUE(slots) << Describe(slots);
    EXPECT_EQ(slots.value.connectionSlotsInUse, 250U);
    EXPECT_EQ(slots.value.loginState, 1U);
}

TEST_F(ClientConnections, ConnectionsAreEnded) {
    const std::array<int32_t, 2> some = {2, 3};
    EXPECT_TRUE(client::ClearConnections(some));
    EXPECT_EQ(client::ClearConnections(some).code, ENOENT);
    EXPECT_EQ(client::ClearConnections({}).code, kInvalid);
    EXPECT_EQ(client::ListConnections().value.size(), 248U);
    EXPECT_TRUE(client::ClearNotLoggedInConnections());
    for (const client::Connection& connection : client::ListConnections().value) {
        EXPECT_NE(connection.name, "NOT LOGGED IN");
    }
    const std::array<int32_t, 1> mine = {1};
    EXPECT_TRUE(client::ClearAllConnections(mine));
    EXPECT_EQ(client::ListConnections().value.size(), 1U);
    EXPECT_TRUE(client::ClearAllConnections());
    const auto none = client::ListConnections();
    EXPECT_TRUE(none && none.value.empty()) << Describe(none);
}

TEST_F(ClientConnections, MessagesGoToAllOrToSome) {
    const std::array<int32_t, 2> some = {1, 4};
    const std::array<int32_t, 1> nobody = {9999};
    EXPECT_TRUE(client::Broadcast("The server goes down"));
    EXPECT_TRUE(client::BroadcastTo(some, "The server goes down"));
    EXPECT_EQ(client::BroadcastTo(nobody, "The server goes down").code, ENOENT);
    EXPECT_EQ(client::BroadcastTo({}, "The server goes down").code, kInvalid);
    EXPECT_EQ(client::Broadcast("a < b").code, kInvalid);
    EXPECT_TRUE(client::Broadcast(client::Escaped("a < b")));
}

TEST_F(ClientConnections, OpenFilesOfSeveralPagesAreListed) {
    const auto all = client::ListOpenFiles();
    ASSERT_TRUE(all) << Describe(all);
    EXPECT_GT(all.value.size(), 100U); // a page has 50
    EXPECT_EQ(all.value[0].station, 1);
    EXPECT_EQ(all.value[0].userName, "hmeier.users.hq.acme");
    EXPECT_EQ(all.value[0].files, client::GetConnection(1).value.openFiles);
    int32_t last = 0;
    for (const client::OpenFiles& one : all.value) {
        EXPECT_GT(one.station, last);
        EXPECT_FALSE(one.files.empty());
        last = one.station;
    }
}

TEST_F(ClientConnections, OpenFilesOfOneVolumeAreListed) {
    int seen = 0;
    EXPECT_TRUE(client::ForEachOpenFiles("DATA", [&](const client::OpenFiles& one) {
        for (const std::string& file : one.files) {
            EXPECT_TRUE(file.starts_with("DATA:")) << file;
        }
        return ++seen < 2;
    }));
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(Describe(client::ListOpenFiles("NONE")), "2 no such volume: NONE");
}

TEST_F(ClientConnections, LocksAreListedAndGivenUp) {
    const std::string file = "DATA:src/build.log";
    const auto locks = client::ListLocks(file);
    ASSERT_TRUE(locks) << Describe(locks);
    ASSERT_EQ(locks.value.size(), 3U);
    EXPECT_EQ(locks.value[0].stationNumber, 58);
    EXPECT_STREQ(locks.value[0].userName, "vsilva.sales.emea.acme");
    EXPECT_TRUE(client::CloseConnectionLocks(58));
    EXPECT_EQ(client::CloseConnectionLocks(9999).code, ENOENT);
    EXPECT_EQ(client::ListLocks(file).value.size(), 2U);
    EXPECT_TRUE(client::ListLocks("DATA:none").value.empty());
    EXPECT_EQ(client::ListLocks("NONE:none").code, ENOENT);
}

TEST_F(ClientConnections, AFileIsClosed) {
    EXPECT_EQ(client::CloseFile("SYS:src/build.log").value, "SYS:src/build.log");
    EXPECT_EQ(Describe(client::CloseFile("SYS:src/build.log")),
              "2 file is not open: SYS:src/build.log");
}

// A server that does not say where the next page begins: a full page has a successor.
TEST_F(ClientConnectionPages, AFullPageIsFollowedByTheNext) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(connections(1, 100))},
                                                {read_request(), send_bytes(connections(205, 7))}});
    const auto all = client::ListConnections();
    ASSERT_TRUE(all) << Describe(all);
    EXPECT_EQ(all.value.size(), 107U);
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_NE(peer.requests()[1].find("<startIndex>101</startIndex>"), std::string::npos);
}

TEST_F(ClientConnectionPages, TheSamePageOverAndOverIsAFailure) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(connections(1, 100))}});
    EXPECT_EQ(client::ListConnections().code, kRange);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(ClientConnectionPages, AConnectionThatLacksAnElementIsAFailure) {
    std::string text = connections(1, 3).substr(sizeof(ReplyHeader));
    text.replace(text.rfind("<mfa>"), 5, "<nfa>");
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(text))}});
    EXPECT_EQ(client::ListConnections().code, kInvalid);
}

std::string open_files(const std::string& files) {
    return reply("<zrpConsoleReply><listOpenFilesByConnection><iterationInfo><moreFlag>No"
                 "</moreFlag><stationNumberCount>1</stationNumberCount></iterationInfo>"
                 "<connectionTag><stationNumberTag>1</stationNumberTag><userName>admin</userName>"
                 "<openFiles><openFilesCount>2</openFilesCount>" +
                 files +
                 "</openFiles></connectionTag></listOpenFilesByConnection></zrpConsoleReply>");
}

TEST_F(ClientConnectionPages, AFileThatCannotBeReadIsAFailure) {
    for (const char* files : {"<name>a</name><name>b", "<name>a</name><name/>", "<name"}) {
        const ScriptedPeer peer(kMainDaemonSocket,
                                {{read_request(), send_bytes(open_files(files))}});
        EXPECT_EQ(client::ListOpenFiles().code, kInvalid) << files;
    }
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(open_files(""))}});
    const auto none = client::ListOpenFiles();
    ASSERT_TRUE(none) << Describe(none);
    EXPECT_TRUE(none.value.at(0).files.empty());
}

TEST_F(ClientConnectionPages, AListOfFilesWithoutItsPageIsAFailure) {
    std::string text = open_files("").substr(sizeof(ReplyHeader));
    text.replace(text.find("<moreFlag>"), 10, "<lessFlag>");
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(text))}});
    EXPECT_EQ(client::ListOpenFiles().code, kInvalid);
}

} // namespace
} // namespace zrp::client_connections_test
