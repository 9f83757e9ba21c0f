#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::client_storage_test {
namespace {

class ClientStorage : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.ready());
    }

    const SimulatedServer server{{"--volumes", "9", "--clock", "1000"}};
};

std::vector<std::string> names(ControlList which) {
    std::vector<std::string> found;
    for (const client::StorageVolume& volume : client::ListStorageVolumes(which).value) {
        found.push_back(volume.name);
    }
    return found;
}

TEST_F(ClientStorage, VolumesAreListedByTheirKind) {
    EXPECT_EQ(names(kExcludedVolumes), (std::vector<std::string>{"SCRATCH"}));
    EXPECT_EQ(names(kIncludedVolumes),
              (std::vector<std::string>{"DATA", "HOME", "ENGINEERING_2026", "MAIL", "FINANCE"}));
    const auto both = client::ListStorageVolumes();
    ASSERT_EQ(both.value.size(), 6U);
    EXPECT_FALSE(both.value[0].included);
    EXPECT_TRUE(both.value[1].included);
    EXPECT_EQ(client::ListStorageVolumes(static_cast<ControlList>(8)).code, kInvalid);
}

TEST_F(ClientStorage, AVolumeIsTakenOutAndAddedAgain) {
    const client::Session session;
    EXPECT_TRUE(client::ExcludeVolume("DATA", true));
    EXPECT_EQ(client::GetVolume("DATA").value.status & kVolumeMounted, 0U);
    EXPECT_EQ(client::ExcludeVolume("DATA").code, EEXIST);
    EXPECT_TRUE(client::IncludeVolume("DATA"));
    EXPECT_EQ(client::GetVolume("DATA").value.status & kVolumeMounted, 0U);
    EXPECT_TRUE(client::ExcludeVolume("DATA"));
    EXPECT_TRUE(client::IncludeVolume("DATA", true));
    EXPECT_EQ(client::GetVolume("DATA").value.status & kVolumeMounted, kVolumeMounted);
    EXPECT_EQ(client::IncludeVolume("DATA").code, EEXIST);
}

TEST_F(ClientStorage, AVolumeHasAMountPoint) {
    EXPECT_EQ(client::GetMountPoint("DATA").value, "/media/bks/DATA");
    const auto none = client::GetMountPoint("SYS");
    EXPECT_EQ(none.code, ENOENT);
    EXPECT_EQ(none.value, "");
}

TEST_F(ClientStorage, FiltersAreListedSetAndPutBack) {
    const auto before = client::ListFilters();
    ASSERT_EQ(before.value.size(), 6U);
    EXPECT_EQ(before.value[0].name, "events");
    EXPECT_EQ(before.value[0].value, "0x000000ff");
    EXPECT_TRUE(client::SetFilter("events", 5));
    EXPECT_EQ(client::ListFilters().value[0].value, "0x00000005");
    EXPECT_TRUE(client::TurnOffFilters());
    EXPECT_EQ(client::ListFilters().value[2].value, "0x00000000");
    EXPECT_TRUE(client::ResetFilters());
    EXPECT_EQ(client::ListFilters().value[0].value, "0x000000ff");
}

TEST_F(ClientStorage, TheLogHasALevel) {
    EXPECT_TRUE(client::SetStorageLogLevel("DEBUG"));
    EXPECT_EQ(Describe(client::SetStorageLogLevel("LOUD")), "22 no such log level: LOUD");
}

TEST(ClientStorageFaults, NobodyListens) {
    EXPECT_EQ(client::ListStorageVolumes().code, ECONNREFUSED);
    EXPECT_EQ(client::GetMountPoint("DATA").code, ECONNREFUSED);
    EXPECT_EQ(client::SetFilter("events", 1).code, ECONNREFUSED);
    EXPECT_EQ(client::ResetFilters().code, ECONNREFUSED);
    EXPECT_EQ(client::TurnOffFilters().code, ECONNREFUSED);
}

TEST(ClientStorageFaults, AReplyWithoutAListIsAFailure) {
    const ScriptedPeer peer(kStorageDaemonSocket,
                            {{read_request(), send_bytes(reply("<zrp2bks_reply/>"))}});
    EXPECT_EQ(client::ListStorageVolumes().code, kNotFound);
    EXPECT_EQ(client::GetMountPoint("DATA").code, kNotFound);
}

} // namespace
} // namespace zrp::client_storage_test
