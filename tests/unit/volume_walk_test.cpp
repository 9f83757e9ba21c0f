#include <cerrno>
#include <cstdarg>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/requests/volume_list.h"
#include "common/result.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"

namespace zrp::volume_walk_test {
namespace {

using Walk = int (*)(VolumeCallback callback, const RequestHooks* hooks, void* context);

std::string volume(int number, const char* status) {
    const std::string digits = std::to_string(number);
    return "<volume><name>V" + digits + "</name><status>" + status + "</status><volumeNumber>" +
           digits + "</volumeNumber></volume>";
}

PeerScript answer(const std::string& content) {
    return {read_request(), send_bytes(reply("<zrpConsoleReply><listVolumes>" + content +
                                             "</listVolumes></zrpConsoleReply>"))};
}

PeerScript error(int code) {
    return {read_request(), send_bytes(reply("<zrpConsoleReply><result value=\"" +
                                             std::to_string(code) + "\"/></zrpConsoleReply>"))};
}

struct Visits {
    std::vector<std::string> seen;
    size_t stopAfter = SIZE_MAX;
};

int visit(void* context, const ListedVolume& volume) {
    auto* visits = static_cast<Visits*>(context);
    visits->seen.push_back(std::to_string(volume.volumeNumber) + " " + volume.name + " " +
                           std::to_string(volume.status));
    return visits->seen.size() == visits->stopAfter ? -77 : kOk;
}

struct NamedWalk {
    const char* name;
    Walk walk;
};

class VolumeWalk : public testing::TestWithParam<NamedWalk> {
protected:
    void SetUp() override {
        IPCServInit(kMainDaemonSocket);
    }
    void TearDown() override {
        IPCServTerm();
    }
    int walk(Visits* visits, const RequestHooks* hooks = nullptr) {
        return GetParam().walk(visit, hooks, visits);
    }
};

INSTANTIATE_TEST_SUITE_P(Walks, VolumeWalk,
                         testing::Values(NamedWalk{"GetVolumes", GetVolumes},
                                         NamedWalk{"GetVolumeArray", GetVolumeArray},
                                         NamedWalk{"GetValidVolumes", GetValidVolumes}),
                         [](const auto& walk) { return std::string(walk.param.name); });

TEST_P(VolumeWalk, GivesEveryVolumeOfEveryPageMountedOrNot) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {answer("<startIndex>2</startIndex>" + volume(0, "0x3") + volume(1, "0")),
                       answer(volume(2, "1"))});
    Visits visits;
    EXPECT_EQ(walk(&visits), kOk);
    EXPECT_EQ(visits.seen, (std::vector<std::string>{"0 V0 3", "1 V1 0", "2 V2 1"}));
    ASSERT_EQ(peer.requests().size(), 2U);
    EXPECT_EQ(peer.requests()[1].substr(sizeof(RequestHeader)),
              "<zrpConsoleRequest><listVolumes><startIndex>2</startIndex></listVolumes>"
              "</zrpConsoleRequest>");
}

TEST_P(VolumeWalk, GoesOnAtAStartIndexOfZero) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {answer("<startIndex>0</startIndex>" + volume(0, "2")), answer("")});
    Visits visits;
    EXPECT_EQ(walk(&visits), kOk);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_P(VolumeWalk, EndsWithWhatTheCallbackReturned) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answer("<startIndex>2</startIndex>" + volume(0, "2") + volume(1, "2")),
                             answer(volume(2, "2") + volume(3, "2"))});
    Visits visits = {{}, 3};
    EXPECT_EQ(walk(&visits), -77);
    EXPECT_EQ(visits.seen.size(), 3U);
}

TEST_P(VolumeWalk, ReturnsTheErrorOfTheServer) {
    const ScriptedPeer peer(kMainDaemonSocket, {error(-601)});
    Visits visits;
    EXPECT_EQ(walk(&visits), -601);
    EXPECT_TRUE(visits.seen.empty());
}

PeerScript send_text(std::string_view text) {
    return {read_request(), send_bytes(reply(text))};
}

TEST_P(VolumeWalk, APageThatWasCutIsAFailureWithoutVolumes) {
    const std::string page = "<zrpConsoleReply><listVolumes>" + volume(0, "2") + volume(1, "2") +
                             "</listVolumes><startIndex>2</startIndex></zrpConsoleReply>";
    std::vector<PeerScript> scripts;
    for (size_t size = 0; size < page.size(); size++) {
        scripts.push_back(send_text(std::string_view(page).substr(0, size)));
    }
    scripts.push_back(send_text("garbage"));
    scripts.push_back(send_text("<zrpConsoleReply></zrpConsoleReply>"));
    const size_t count = scripts.size();
    const ScriptedPeer peer(kMainDaemonSocket, std::move(scripts));
    for (size_t i = 0; i < count; i++) {
        Visits visits;
        EXPECT_EQ(walk(&visits), kInvalid) << i;
        EXPECT_TRUE(visits.seen.empty()) << i;
    }
}

TEST_P(VolumeWalk, AVolumeThatCannotBeReadIsAFailure) {
    const std::pair<std::string, int> rows[] = {
        {"<volume></volume>", kInvalid},
        {"<volume/>", kInvalid},
        {"<volume><name>V1</name><status>2</status>", kInvalid},
        {"<volume><name>V1</name><volumeNumber>1</volumeNumber></volume>", kInvalid},
        {"<volume><name>" + std::string(kListedNameSize, 'V') + "</name></volume>", kTooLong},
    };
    for (const auto& [item, code] : rows) {
        const ScriptedPeer peer(kMainDaemonSocket, {answer(volume(0, "2") + item)});
        Visits visits;
        EXPECT_EQ(walk(&visits), code) << item;
        EXPECT_LE(visits.seen.size(), 1U) << item;
    }
}

std::vector<std::string>& dumped() {
    static std::vector<std::string> texts;
    return texts;
}

void keep_dump(const char* text, uint64_t length) {
    dumped().emplace_back(text == nullptr ? "" : std::string(text, length));
}

__attribute__((format(printf, 1, 2))) void keep_log(const char* format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    dumped().emplace_back(line);
}

TEST_P(VolumeWalk, ShowsItsHooksEveryRequestAndReply) {
    const ScriptedPeer peer(kMainDaemonSocket, {answer(volume(0, "2"))});
    const RequestHooks hooks = {keep_dump, keep_log};
    dumped().clear();
    Visits visits;
    EXPECT_EQ(walk(&visits, &hooks), kOk);
    ASSERT_EQ(dumped().size(), 2U);
    EXPECT_EQ(dumped()[0], "<zrpConsoleRequest><listVolumes></listVolumes></zrpConsoleRequest>");
    EXPECT_EQ(dumped()[1].find("<zrpConsoleReply><listVolumes><volume>"), 0U);
}

TEST_P(VolumeWalk, LogsAFailedExchange) {
    const RequestHooks hooks = {nullptr, keep_log};
    dumped().clear();
    Visits visits;
    EXPECT_EQ(walk(&visits, &hooks), ECONNREFUSED);
    EXPECT_EQ(dumped(),
              std::vector<std::string>{"IPCServRequest rc=" + std::to_string(ECONNREFUSED)});
}

TEST_P(VolumeWalk, WithoutMemoryForItsRequestNothingIsSent) {
    constexpr size_t kRequestRoom = 256;
    ScriptedPeer peer(kMainDaemonSocket, {answer(volume(0, "2"))});
    const RequestHooks hooks = {keep_dump, keep_log};
    dumped().clear();
    Visits visits;
    {
        const FailingMalloc failing(kRequestRoom);
        EXPECT_EQ(walk(&visits, &hooks), kNoMemory);
    }
    EXPECT_TRUE(visits.seen.empty());
    EXPECT_TRUE(dumped().empty());
    EXPECT_EQ(peer.connections(), 0U);
}

TEST(GetVolumes, KeepsTheFirstPageWhenTheSecondFails) {
    IPCServInit(kMainDaemonSocket);
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answer("<startIndex>1</startIndex>" + volume(0, "2")), error(5)});
    Visits visits;
    EXPECT_EQ(GetVolumes(visit, nullptr, &visits), 5);
    EXPECT_EQ(visits.seen.size(), 1U);
    IPCServTerm();
}

TEST(GetVolumeArray, CallsNothingUnlessTheWholeListIsThere) {
    IPCServInit(kMainDaemonSocket);
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answer("<startIndex>1</startIndex>" + volume(0, "2")), error(5)});
    Visits visits;
    EXPECT_EQ(GetVolumeArray(visit, nullptr, &visits), 5);
    EXPECT_TRUE(visits.seen.empty());
    IPCServTerm();
}

// The array grows by one record for each volume, over the pages.
TEST(GetVolumeArray, WithoutMemoryForARecordCallsNothing) {
    IPCServInit(kMainDaemonSocket);
    constexpr size_t kVolumes = 3;
    for (size_t count = 1; count <= kVolumes + 1; count++) {
        const ScriptedPeer peer(kMainDaemonSocket, {answer("<startIndex>2</startIndex>" +
                                                           volume(0, "2") + volume(1, "2")),
                                                    answer(volume(2, "2"))});
        Visits visits;
        const FailingMalloc failing(count * sizeof(ListedVolume));
        const bool isReached = count <= kVolumes;
        EXPECT_EQ(GetVolumeArray(visit, nullptr, &visits), isReached ? kNoMemory : kOk) << count;
        EXPECT_EQ(visits.seen.size(), isReached ? 0U : kVolumes);
    }
    IPCServTerm();
}

TEST(GetVolumes, AListWithoutAnEndIsBrokenOff) {
    IPCServInit(kMainDaemonSocket);
    ScriptedPeer peer(kMainDaemonSocket, {answer("<startIndex>1</startIndex>")});
    Visits visits;
    EXPECT_EQ(GetVolumes(visit, nullptr, &visits), kRange);
    EXPECT_EQ(peer.connections(), static_cast<size_t>(kMaxVolumePages));
    IPCServTerm();
}

TEST(GetValidVolumes, PassesOverStorageVolumesWithoutAMountPoint) {
    IPCServInit(kMainDaemonSocket);
    const ScriptedPeer peer(kMainDaemonSocket, {answer(volume(0, "0x40000002") + volume(1, "2") +
                                                       volume(2, "0x40000000"))});
    ScriptedPeer storage(
        kStorageDaemonSocket,
        {error(-5),
         {read_request(), send_bytes(reply("<zrp2bks_reply><exclusion_control>"
                                           "<get_volume_mount_point>/media</get_volume_mount_point>"
                                           "</exclusion_control></zrp2bks_reply>"))}});
    const RequestHooks hooks = {nullptr, keep_log};
    dumped().clear();
    Visits visits;
    EXPECT_EQ(GetValidVolumes(visit, &hooks, &visits), kOk);
    EXPECT_EQ(visits.seen, (std::vector<std::string>{"1 V1 2", "2 V2 1073741824"}));
    EXPECT_EQ(dumped(), std::vector<std::string>{
                            "GetValidVolumes call to IPCBKSControlActionGetMountPoint returned "
                            "rc=-5 for volume V0"});
    ASSERT_EQ(storage.requests().size(), 2U);
    EXPECT_NE(storage.requests()[0].find("<volumeName>V0</volumeName>"), std::string::npos);
    EXPECT_EQ(GetValidVolumes(visit, nullptr, &visits), kOk);
    IPCServTerm();
}

} // namespace
} // namespace zrp::volume_walk_test
