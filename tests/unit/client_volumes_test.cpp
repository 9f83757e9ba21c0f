#include <array>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::client_volumes_test {
namespace {

using Names = std::vector<std::string>;

constexpr uint32_t kPosixPermissions = 0x2000;
constexpr uint32_t kSalvageable = 0x200000;

class ClientVolumes : public ::testing::Test {
protected:
    const client::Session session;
};

// A server of nine volumes, whose figures do not change.
class ClientVolumesOfAServer : public ClientVolumes {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.ready());
    }

    const SimulatedServer server{{"--volumes", "9", "--clock", "1000"}};
};

std::string volume(const std::string& name, int number) {
    return "<volume><name>" + name + "</name><status>0x3</status><volumeNumber>" +
           std::to_string(number) + "</volumeNumber></volume>";
}

std::string list_reply(const std::string& items) {
    return reply("<zrpConsoleReply><listVolumes>" + items + "</listVolumes></zrpConsoleReply>");
}

// One page for each connection.
std::vector<PeerScript> pages(const std::vector<std::string>& texts) {
    std::vector<PeerScript> scripts;
    for (const std::string& text : texts) {
        scripts.push_back({read_request(), send_bytes(text)});
    }
    return scripts;
}

TEST_F(ClientVolumes, AListOfSeveralPagesGoesThroughARangeFor) {
    const SimulatedServer server({"--volumes", "120"});
    ASSERT_TRUE(server.ready());
    const auto volumes = client::ListVolumes();
    ASSERT_TRUE(volumes) << Describe(volumes);
    int next = 0;
    for (const client::Volume& volume : volumes.value) {
        EXPECT_EQ(volume.number, next++);
        EXPECT_NE(volume.name, "");
    }
    EXPECT_EQ(next, 120);
    EXPECT_EQ(volumes.value[1].name, "DATA");
    EXPECT_EQ(client::StatusWords(volumes.value[0].status), "online mounted salvageable");
}

TEST_F(ClientVolumes, AServerWithoutVolumesHasAnEmptyList) {
    const SimulatedServer server({"--volumes", "0"});
    ASSERT_TRUE(server.ready());
    const auto volumes = client::ListVolumes();
    EXPECT_TRUE(volumes) << Describe(volumes);
    EXPECT_TRUE(volumes.value.empty());
}

TEST_F(ClientVolumes, ACallbackSeesEachVolumeAndMayStop) {
    const SimulatedServer server({"--volumes", "120"});
    ASSERT_TRUE(server.ready());
    int seen = 0;
    EXPECT_TRUE(client::ForEachVolume([&](const client::Volume&) { seen++; }));
    EXPECT_EQ(seen, 120);
    seen = 0;
    EXPECT_TRUE(client::ForEachVolume([&](const client::Volume& one) {
        seen++;
        return one.number < 60;
    }));
    EXPECT_EQ(seen, 61);
}

TEST_F(ClientVolumes, ACallbackMayThrow) {
    const SimulatedServer server({"--volumes", "3"});
    ASSERT_TRUE(server.ready());
    const auto fail = [](const client::Volume&) { throw std::runtime_error("enough"); };
    EXPECT_THROW((void)client::ForEachVolume(fail), std::runtime_error);
    EXPECT_EQ(client::ListVolumes().value.size(), 3U);
}

TEST_F(ClientVolumes, ValuesOutliveServerAndReply) {
    std::optional<SimulatedServer> server(std::in_place,
                                          std::vector<std::string>{"--volumes", "4"});
    ASSERT_TRUE(server->ready());
    std::vector<client::Volume> copies;
    client::VolumeDetails copy;
    {
        const auto volumes = client::ListVolumes();
        const auto details = client::GetVolume("PROJECTS");
        copies = volumes.value;
        copy = details.value;
    }
    server.reset();
    EXPECT_FALSE(client::ListVolumes());
    ASSERT_EQ(copies.size(), 4U);
    EXPECT_EQ(copies[3].name, "PROJECTS");
    EXPECT_EQ(copy.name, "PROJECTS");
    EXPECT_EQ(copy.mountPoint, "/usr/zrp/volumes/PROJECTS");
    EXPECT_EQ(copy.shadowMountPoint, "/media/shadow/PROJECTS");
}

TEST_F(ClientVolumes, EveryWayToBreakOffAListIsAFailure) {
    const std::string good = volume("A", 0);
    const std::string whole = list_reply(good + volume("B", 1));
    const std::array broken = {
        list_reply(good + "<volume><name>B</name></volume>"),            // an element is missing
        list_reply(good + "<volume><name>B</name><status>0x3</status>"), // not closed
        list_reply("<volume><name>B</name></volume>"),                   // the first already
        reply("<zrpConsoleReply><listVolumes>" + good),                  // cut after an item
        reply(whole.substr(sizeof(ReplyHeader), 40)),                    // cut inside one
        reply_header(2000) + whole.substr(sizeof(ReplyHeader)).substr(0, 90), // closed early
        reply("<zrpConsoleReply>" + good + "</zrpConsoleReply>"),             // no list
    };
    for (const std::string& text : broken) {
        const ScriptedPeer peer(kMainDaemonSocket, pages({text}));
        const auto volumes = client::ListVolumes();
        EXPECT_FALSE(volumes) << text;
        EXPECT_TRUE(volumes.value.empty()) << text;
    }
    const ScriptedPeer peer(kMainDaemonSocket, pages({whole}));
    EXPECT_EQ(client::ListVolumes().value.size(), 2U);
}

TEST_F(ClientVolumes, AFailureOnALaterPageGivesNoList) {
    const std::string first = list_reply("<startIndex>1</startIndex>" + volume("A", 0));
    const std::string refusal = "<r><result value=\"5\"><description>closed</description></result>"
                                "</r>";
    const ScriptedPeer peer(kMainDaemonSocket, pages({first, reply(refusal)}));
    const auto volumes = client::ListVolumes();
    EXPECT_EQ(volumes.code, 5);
    EXPECT_EQ(volumes.error, "5 closed");
    EXPECT_TRUE(volumes.value.empty());
}

TEST_F(ClientVolumes, APageThatDoesNotMoveOnEndsTheWalk) {
    const std::string page = list_reply("<startIndex>7</startIndex>" + volume("A", 0));
    const ScriptedPeer peer(kMainDaemonSocket, pages({page}));
    EXPECT_EQ(client::ListVolumes().code, kRange);
    EXPECT_EQ(peer.connections(), 2U);
}

// What follows does not concern a callback that has stopped.
TEST_F(ClientVolumes, AStopIsNoFailureWhateverFollows) {
    const std::string page = list_reply("<startIndex>7</startIndex>" + volume("A", 0));
    const ScriptedPeer peer(kMainDaemonSocket, pages({page}));
    int seen = 0;
    const auto end = client::ForEachVolume([&](const client::Volume&) { return ++seen < 2; });
    EXPECT_TRUE(end) << Describe(end);
    EXPECT_EQ(seen, 2);
}

TEST_F(ClientVolumes, ANextPageAtTheBeginningIsNone) {
    const std::string page = list_reply("<startIndex>0</startIndex>" + volume("A", 0));
    const ScriptedPeer peer(kMainDaemonSocket, pages({page}));
    EXPECT_EQ(client::ListVolumes().value.size(), 1U);
    EXPECT_EQ(peer.connections(), 1U);
}

TEST_F(ClientVolumes, ANameThatDoesNotFitIsAFailure) {
    const std::string page = list_reply(volume(std::string(kListedNameSize, 'x'), 0));
    const ScriptedPeer peer(kMainDaemonSocket, pages({page}));
    EXPECT_EQ(client::ListVolumes().code, kTooLong);
}

TEST_F(ClientVolumesOfAServer, DetailsAreTheSameInEveryLayout) {
    // A view into a longer text needs no terminator.
    const std::string_view name = std::string_view("SYS, ENGINEERING_2026").substr(5);
    for (int layout = 1; layout <= kMaxVolumeInformationVersion; layout++) {
        const auto got = client::GetVolume(name, layout);
        ASSERT_TRUE(got) << layout << ": " << Describe(got);
        const client::VolumeDetails& details = got.value;
        EXPECT_EQ(details.layout, layout);
        EXPECT_EQ(details.name, "ENGINEERING_2026");
        EXPECT_EQ(details.number, 4);
        EXPECT_EQ(details.mountPoint, "/media/bks/ENGINEERING_2026");
        EXPECT_EQ(details.shadowMountPoint, "");
        EXPECT_EQ(client::StatusWords(details.status), "online mounted BKS salvageable");
        const bool full = layout != 3;
        EXPECT_EQ(details.size, full ? 216241229824U : 0U) << layout;
        EXPECT_EQ(details.free, full ? 205378711552U : 0U) << layout;
        EXPECT_EQ(details.type, full ? 2U : 0U) << layout;
        EXPECT_EQ(details.poolName, full ? "POOL1" : "") << layout;
        EXPECT_EQ(details.guid, full ? "6b2f0c1e-5d1a-4c57-9a10-000000000004" : "") << layout;
        EXPECT_EQ(details.lastModified, full ? 1776816994U : 0U) << layout;
        EXPECT_EQ(details.cache.lazyOpens, layout >= 4 ? 15785U : 0U) << layout;
        EXPECT_EQ(details.purgeableBlocks, layout >= 5 ? 62128U : 0U) << layout;
        EXPECT_EQ(details.connections > 0, layout >= 5) << layout;
    }
}

TEST(ClientVolumeWords, AreForPeople) {
    EXPECT_EQ(client::StatusWords(0), "dismounted");
    EXPECT_EQ(client::StatusWords(0x10003), "online mounted \"read only\"");
    EXPECT_EQ(client::SizeWords(1000), "1000");
    EXPECT_EQ(client::SizeWords(1536), "1.50 KB");
}

TEST_F(ClientVolumesOfAServer, DetailsKnowShadowsAndQuotas) {
    const auto shadowed = client::GetVolume("PROJECTS", 6);
    EXPECT_EQ(shadowed.value.shadowFlags, 1U);
    EXPECT_EQ(shadowed.value.shadowMountPoint, "/media/shadow/PROJECTS");
    EXPECT_FALSE(shadowed.value.quotasEnforced);
    EXPECT_TRUE(client::GetVolume("MAIL", 3).value.quotasEnforced);
    EXPECT_TRUE(client::GetVolume("MAIL", 5).value.quotasEnforced);
}

TEST_F(ClientVolumesOfAServer, DetailsOfNoVolumeAreAFailure) {
    const auto none = client::GetVolume("NONE");
    EXPECT_EQ(none.code, ENOENT);
    EXPECT_EQ(Describe(none), "2 no such volume: NONE");
    EXPECT_EQ(none.value.name, "");
    EXPECT_EQ(client::GetVolume("SEVENTEEN_LETTERS").code, kInvalid);
}

TEST_F(ClientVolumesOfAServer, AVolumeIsMadeChangedAndRemoved) {
    const auto made = client::CreateVolume("NEW", "/srv/new", 0, 77);
    ASSERT_TRUE(made) << Describe(made);
    EXPECT_EQ(made.value, "NEW");
    EXPECT_EQ(client::GetVolume("NEW").value.number, 77);
    EXPECT_EQ(Describe(client::CreateVolume("NEW", "/srv/other")), "17 volume exists: NEW");
    EXPECT_EQ(client::CreateVolume("SIXTEEN_LETTERS_", "/srv/other").code, kNameTooLong);

    const auto changed = client::ModifyVolume("NEW", kPosixPermissions, kSalvageable);
    ASSERT_TRUE(changed) << Describe(changed);
    EXPECT_STREQ(changed.value.volumeName, "NEW");
    EXPECT_EQ(changed.value.grant, kPosixPermissions);
    EXPECT_EQ(client::ModifyVolume("NONE", 1, 0).code, ENOENT);

    EXPECT_TRUE(client::PurgeVolume("NEW"));
    EXPECT_EQ(client::PurgeVolume("NONE").code, ENOENT);
    EXPECT_TRUE(client::FlushVolumes());
    EXPECT_TRUE(client::ControlVolumeTree("NEW", 1));
    EXPECT_EQ(client::ControlVolumeTree("NONE", 1).code, ENOENT);

    EXPECT_EQ(client::RemoveVolume("NEW").value, "NEW");
    EXPECT_EQ(Describe(client::RemoveVolume("NEW", "force")), "2 no such volume: NEW");
}

TEST_F(ClientVolumesOfAServer, WhatBecameOfEachVolumeIsTheValue) {
    const auto dismounted = client::DismountVolumes("DATA, NONE");
    ASSERT_TRUE(dismounted) << Describe(dismounted);
    ASSERT_EQ(dismounted.value.size(), 2U);
    EXPECT_STREQ(dismounted.value[0].name, "DATA");
    EXPECT_EQ(dismounted.value[0].dismountFailureCode, 0);
    EXPECT_STREQ(dismounted.value[1].name, "NONE");
    EXPECT_EQ(dismounted.value[1].dismountFailureCode, ENOENT);

    const auto mounted = client::MountVolumes("volumes DATA=70; NONE");
    ASSERT_TRUE(mounted) << Describe(mounted);
    ASSERT_EQ(mounted.value.size(), 2U);
    EXPECT_EQ(mounted.value[0].mountFailureCode, 0);
    EXPECT_EQ(mounted.value[1].mountFailureCode, ENOENT);
    EXPECT_EQ(client::GetVolume("DATA").value.number, 70);

    EXPECT_EQ(client::MountVolumes("").code, kInvalid);
    EXPECT_EQ(client::MountVolumes("SIXTEEN_LETTERS_").code, kNameTooLong);
}

TEST_F(ClientVolumesOfAServer, AllVolumesAreDismountedAndMounted) {
    const auto dismounted = client::DismountAllVolumes();
    ASSERT_TRUE(dismounted) << Describe(dismounted);
    EXPECT_EQ(dismounted.value, (Names{"SYS", "DATA", "HOME", "PROJECTS", "ENGINEERING_2026",
                                       "MAIL", "ARCHIVE", "FINANCE"}));
    const auto again = client::DismountAllVolumes();
    EXPECT_TRUE(again) << Describe(again);
    EXPECT_TRUE(again.value.empty());
    EXPECT_EQ(client::MountAllVolumes().value.size(), dismounted.value.size());
}

TEST_F(ClientVolumesOfAServer, AShadowIsMadeAndRemoved) {
    const std::string mountPoint = client::GetVolume("DATA").value.mountPoint;
    const auto made = client::CreateShadowVolume("DATA", "/srv/shadow", mountPoint);
    ASSERT_TRUE(made) << Describe(made);
    EXPECT_EQ(made.value, "DATA");
    EXPECT_EQ(client::CreateShadowVolume("DATA", "/srv/other", mountPoint).code, EEXIST);
    EXPECT_EQ(client::RemoveShadowVolume("DATA", "/elsewhere").code, ENOENT);
    const auto removed = client::RemoveShadowVolume("DATA", mountPoint);
    EXPECT_STREQ(removed.value.shadowVolName, "DATA_S");
    EXPECT_EQ(client::RemoveShadowConfiguration("DATA", mountPoint, "DATA_S").value, "DATA");
    EXPECT_EQ(client::RemoveShadowConfiguration("DATA", mountPoint, "DATA_S").code, ENOENT);
    ASSERT_TRUE(client::CreateShadowVolume("DATA", "/srv/shadow", mountPoint));
    EXPECT_STREQ(client::RemoveShadowVolume("DATA").value.volumeName, "DATA");
}

} // namespace
} // namespace zrp::client_volumes_test
