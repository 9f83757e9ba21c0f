// The server as a whole: counters, statistics, settings, versions, login, cluster resources.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::client_server_test {
namespace {

using Lines = std::vector<std::string>;

class ClientServer : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.ready());
    }

    const SimulatedServer server{{"--volumes", "9", "--clock", "1000"}};
    const client::Session session;
};

// A server that a test writes itself.
class ClientServerReplies : public ::testing::Test {
protected:
    const client::Session session;
};

template <typename T>
const T* find_named(const std::vector<T>& list, const char* name) {
    const auto at =
        std::find_if(list.begin(), list.end(), [&](const T& item) { return item.name == name; });
    return at == list.end() ? nullptr : &*at;
}

TEST_F(ClientServer, CountersOfTheMainDaemonAreListedAndSetBack) {
    const auto counters = client::ListServerCounters();
    ASSERT_TRUE(counters) << Describe(counters);
    EXPECT_GT(counters.value.size(), 50U);
    const client::Counter* requests = find_named(counters.value, "ipcListener requests");
    ASSERT_NE(requests, nullptr);
    EXPECT_GT(requests->value, 0);
    const auto reset = client::ResetServerCounters();
    ASSERT_TRUE(reset) << Describe(reset);
    EXPECT_EQ(find_named(reset.value, "ipcListener requests")->value, 0);
}

TEST_F(ClientServer, CountersOfTheStorageDaemonAreChosenByWords) {
    const auto all = client::ListStorageCounters();
    ASSERT_TRUE(all) << Describe(all);
    const auto some = client::ListStorageCounters("Purge, mount");
    ASSERT_EQ(some.value.size(), 4U);
    EXPECT_EQ(some.value[0].name, "Purge deleted files requests");
    const auto none = client::ListStorageCounters("unheard-of");
    EXPECT_TRUE(none) << Describe(none);
    EXPECT_TRUE(none.value.empty());
    EXPECT_EQ(client::ListStorageCounters("1 2 3 4 5 6 7 8 9 10 11").code, kInvalid);
    const auto reset = client::ResetStorageCounters();
    ASSERT_EQ(reset.value.size(), all.value.size());
    EXPECT_EQ(find_named(reset.value, "Purge deleted files requests")->value, 0);
}

TEST_F(ClientServer, StatisticsComeAsAListAndAsARecord) {
    const auto list = client::ListStatistics();
    ASSERT_TRUE(list) << Describe(list);
    const client::Statistic* upTime = find_named(list.value, "serverUpTime");
    ASSERT_NE(upTime, nullptr);
    EXPECT_EQ(upTime->type, "diffSeconds");
    EXPECT_EQ(upTime->value, "1000");
    const auto record = client::GetServerCounters();
    ASSERT_TRUE(record) << Describe(record);
    EXPECT_EQ(record.value.serverUpTime, 1000U);
    EXPECT_EQ(record.value.volumeCount, 9U);
}

TEST_F(ClientServer, ThreadsAreARecord) {
    const auto threads = client::GetThreads();
    ASSERT_TRUE(threads) << Describe(threads);
    EXPECT_EQ(threads.value.maxAsynceDirThreads, 50);
    EXPECT_FLOAT_EQ(threads.value.peakAverageSSGThreadLoad, 4.12F);
}

TEST_F(ClientServer, SettingsAreListedReadAndSet) {
    const auto all = client::ListSettings();
    ASSERT_TRUE(all) << Describe(all);
    ASSERT_EQ(all.value.size(), 28U);
    EXPECT_EQ(all.value[0].name, "ZRP_FILE_SERVER_NAME");
    EXPECT_EQ(all.value[0].value, "HLX1");
    // A view into a longer text needs no terminator.
    const std::string_view name = std::string_view("LOG_LEVEL=DEBUG").substr(0, 9);
    EXPECT_EQ(client::GetSetting(name).value, "WARNING");
    EXPECT_EQ(client::SetSetting(name, "DEBUG").value, "DEBUG");
    EXPECT_EQ(client::GetSetting(name).value, "DEBUG");
    EXPECT_EQ(client::SetSetting(name, "").code, kInvalid);
    EXPECT_EQ(Describe(client::SetSetting("ZRP_FILE_SERVER_NAME", "x")),
              "13 ZRP_FILE_SERVER_NAME cannot be set");
    EXPECT_EQ(client::GetSetting("NONE").code, ENOENT);
}

TEST_F(ClientServer, TheConfigurationIsReadAndChanged) {
    const auto before = client::GetServerConfig();
    ASSERT_TRUE(before) << Describe(before);
    EXPECT_STREQ(before.value.zrpServerName, "HLX1");
    EXPECT_EQ(before.value.signingLevel, 1U);
    EXPECT_EQ(client::SetServerConfig("signingLevel", "3").value.signingLevel, 3U);
    EXPECT_EQ(client::GetServerConfig().value.signingLevel, 3U);
    EXPECT_EQ(client::SetServerConfig("zrpServerName", "x").code, EACCES);
}

TEST_F(ClientServer, EachComponentHasAVersion) {
    EXPECT_EQ(client::GetEngineVersion().value, "2026-03-30_14:21:09_x86_64build118-.4096");
    EXPECT_EQ(client::GetStorageVersion().value, "2026-03-30_14:24:51_x86_64build118-.2048");
    EXPECT_EQ(client::GetManagementVersion().value, "2026-02-17_08:55:40_x86_64build97-.1024");
}

TEST_F(ClientServer, LoginIsSwitchedWithAVolumeAndAMessage) {
    const auto off = client::DisableLogin({"DATA", true, "closed"});
    ASSERT_TRUE(off) << Describe(off);
    EXPECT_EQ(off.value, (Lines{"DATA is read only", "Login is disabled"}));
    EXPECT_EQ(client::GetConnectionSlots().value.loginState, 0U);
    EXPECT_EQ(client::EnableLogin().value, (Lines{"Login is enabled"}));
    EXPECT_EQ(client::GetConnectionSlots().value.loginState, 1U);
    EXPECT_EQ(Describe(client::EnableLogin({.volume = "NONE"})), "2 no such volume: NONE");
}

TEST_F(ClientServer, AddressesAreBoundAndReleased) {
    EXPECT_TRUE(client::BindAddress("CLUSTER1", "10.0.0.1"));
    EXPECT_EQ(Describe(client::BindAddress("CLUSTER1", "10.0.0.1")),
              "17 address is bound: 10.0.0.1");
    EXPECT_TRUE(client::UnbindAddress("CLUSTER1", "10.0.0.1"));
    EXPECT_EQ(client::UnbindAddress("CLUSTER1", "10.0.0.1").code, ENOENT);
}

TEST_F(ClientServer, VolumesOfAClusterAreMounted) {
    ASSERT_TRUE(client::DismountVolumes("DATA"));
    const std::array<client::ClusterMount, 2> mounts = {
        {{"DATA", kOwnVolumeNumber, "PATH=/mnt/a SHADOWPATH=/mnt/b"}, {"NONE"}}};
    const auto results = client::MountClusterVolumes(mounts);
    ASSERT_TRUE(results) << Describe(results);
    ASSERT_EQ(results.value.size(), 2U);
    EXPECT_STREQ(results.value[0].volumeName, "DATA");
    EXPECT_EQ(results.value[0].mountFailureCode, 0);
    EXPECT_EQ(results.value[1].mountFailureCode, ENOENT);
    EXPECT_EQ(client::GetVolume("DATA").value.shadowMountPoint, "/mnt/b");
    EXPECT_EQ(client::MountClusterVolumes({}).code, kInvalid);
    const std::array<client::ClusterMount, 1> unknown = {{{"DATA", 1, "COLOUR=red"}}};
    EXPECT_EQ(client::MountClusterVolumes(unknown).code, kInvalid);
}

// The first item is whole; what follows it is not.
TEST_F(ClientServerReplies, AListThatBreaksOffIsAFailure) {
    const struct {
        const char* text;
        int (*run)();
    } kLists[] = {
        {"<zrpConsoleReply><diagnostics><diagLevel>1</diagLevel><diagValue value=\"1\">a"
         "</diagValue><diagValue>b</diagValue></diagnostics></zrpConsoleReply>",
         [] { return client::ListServerCounters().code; }},
        {"<zrpConsoleReply><diagnostics><diagLevel>1</diagLevel><diagValue value=\"1\">a"
         "</diagValue><diagValue value=\"2\">b</diagnostics></zrpConsoleReply>",
         [] { return client::ListServerCounters().code; }},
        {"<zrpConsoleReply><serverStatistics><parm><name>a</name><value type=\"int\">1</value>"
         "</parm><parm/></serverStatistics></zrpConsoleReply>",
         [] { return client::ListStatistics().code; }},
        {"<zrpConsoleReply><serverStatistics><parm><name>a</name><value type=\"int\">1</value>"
         "</parm><parm><value>2</value></parm></serverStatistics></zrpConsoleReply>",
         [] { return client::ListStatistics().code; }},
        {"<zrpConsoleReply><set><name value=\"1\">a</name><name>b</set></zrpConsoleReply>",
         [] { return client::ListSettings().code; }},
        {"<zrpConsoleReply><mountAll><volume><name>a</name></volume><volume></volume></mountAll>"
         "</zrpConsoleReply>",
         [] { return client::MountAllVolumes().code; }},
        {"<zrpConsoleReply><enableLogin><string>a</string><string></enableLogin>"
         "</zrpConsoleReply>",
         [] { return client::EnableLogin().code; }},
        {"<zrpConsoleReply><listFileLocksByFile><actualLockCount>1</actualLockCount>"
         "<connectionTag></connectionTag></listFileLocksByFile></zrpConsoleReply>",
         [] { return client::ListLocks("a").code; }},
        {"<zrpConsoleReply><clusterResource><volume><volumeName>a</volumeName></volume>"
         "</clusterResource></zrpConsoleReply>",
         [] {
             const std::array<client::ClusterMount, 1> mounts = {{{"DATA"}}};
             return client::MountClusterVolumes(mounts).code;
         }},
    };
    for (const auto& list : kLists) {
        const ScriptedPeer peer(kMainDaemonSocket,
                                {{read_request(), send_bytes(reply(list.text))}});
        EXPECT_EQ(list.run(), kInvalid) << list.text;
    }
}

// An item's name begins like that of another element.
TEST_F(ClientServerReplies, AnElementWithALongerNameIsNoItem) {
    const std::string text = "<zrpConsoleReply><set><name>a</name><names>1</names></set>"
                             "</zrpConsoleReply>";
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(text))}});
    const auto settings = client::ListSettings();
    ASSERT_TRUE(settings) << Describe(settings);
    EXPECT_EQ(settings.value.size(), 1U);
}

} // namespace
} // namespace zrp::client_server_test
