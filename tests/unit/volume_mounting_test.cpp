#include "common/requests/volume_mounting.h"

#include "tests/unit/catalogue_fixture.h"

namespace zrp::volume_mounting_test {
namespace {

std::string mount_request(const char* volumes) {
    uint32_t length = 0;
    char* document = BuildMountVolumesRequest(volumes, &length);
    return built(document, length);
}

std::string dismount_request(const char* volumes) {
    uint32_t length = 0;
    char* document = BuildDismountVolumesRequest(volumes, &length);
    return built(document, length);
}

TEST(MountAllRequest, HasNoChildren) {
    uint32_t length = 0;
    char* document = BuildMountAllRequest(&length);
    EXPECT_EQ(built(document, length),
              "<zrpConsoleRequest pid=\"PID\"><mountAll/></zrpConsoleRequest>");
    document = BuildDismountAllRequest(&length);
    EXPECT_EQ(built(document, length),
              "<zrpConsoleRequest pid=\"PID\"><dismountAll/></zrpConsoleRequest>");
}

TEST(MountAllRequest, NeedsMemory) {
    const FailingMalloc failing(256);
    for (const auto build : {BuildMountAllRequest, BuildDismountAllRequest}) {
        uint32_t length = 77;
        errno = 0;
        EXPECT_EQ(build(&length), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(length, 77U);
    }
}

TEST(MountVolumesRequest, HasAGroupForEachVolume) {
    EXPECT_EQ(mount_request("VOLUMES DATA, HOME=12"),
              "<zrpConsoleRequest pid=\"PID\"><mountVolumes>\n"
              "<volume><name>DATA</name><volumeNumber>-1</volumeNumber></volume>"
              "<volume><name>HOME</name><volumeNumber>12</volumeNumber></volume>\n"
              "</mountVolumes></zrpConsoleRequest>");
    EXPECT_EQ(dismount_request("DATA HOME"),
              "<zrpConsoleRequest pid=\"PID\"><dismountVolumes>\n"
              "<volume><name>DATA</name></volume><volume><name>HOME</name></volume>\n"
              "</dismountVolumes></zrpConsoleRequest>");
}

TEST(MountNamedVolumesRequest, TakesNamesAsTheyAre) {
    const NamedVolume volumes[] = {{"A&amp;B, C"}, {"VOLUME", 12}};
    uint32_t length = 0;
    char* document = BuildMountNamedVolumesRequest(volumes, &length);
    EXPECT_EQ(built(document, length),
              "<zrpConsoleRequest pid=\"PID\"><mountVolumes>\n"
              "<volume><name>A&amp;B, C</name><volumeNumber>-1</volumeNumber></volume>"
              "<volume><name>VOLUME</name><volumeNumber>12</volumeNumber></volume>\n"
              "</mountVolumes></zrpConsoleRequest>");
    document = BuildDismountNamedVolumesRequest(volumes, &length);
    EXPECT_EQ(built(document, length),
              "<zrpConsoleRequest pid=\"PID\"><dismountVolumes>\n"
              "<volume><name>A&amp;B, C</name></volume><volume><name>VOLUME</name></volume>\n"
              "</dismountVolumes></zrpConsoleRequest>");
}

TEST(MountNamedVolumesRequest, HasRoomForTheLongestNames) {
    std::string name;
    for (int i = 0; i < kMaxVolumeName; i++) {
        name += "&amp;";
    }
    const std::vector<NamedVolume> volumes(300, {name.c_str(), INT32_MIN});
    uint32_t length = 0;
    for (const auto build : {BuildMountNamedVolumesRequest, BuildDismountNamedVolumesRequest}) {
        const HeapText document(build(volumes, &length));
        EXPECT_NE(document, nullptr);
    }
}

TEST(MountNamedVolumesRequest, RefusesAnEmptyListAndNull) {
    const NamedVolume nameless[] = {{nullptr}};
    uint32_t length = 77;
    for (const auto build : {BuildMountNamedVolumesRequest, BuildDismountNamedVolumesRequest}) {
        for (const std::span<const NamedVolume> volumes :
             {std::span<const NamedVolume>(), std::span<const NamedVolume>(nameless)}) {
            errno = 0;
            EXPECT_EQ(build(volumes, &length), nullptr);
            EXPECT_EQ(errno, EINVAL);
            EXPECT_EQ(length, 77U);
        }
    }
}

TEST(MountVolumesRequest, ALongListHasRoom) {
    std::string text;
    std::string children;
    for (int i = 0; i < 300; i++) {
        text += std::string(kLongestName) + "=-2147483648,";
        children += "<volume><name>" + std::string(kLongestName) +
                    "</name><volumeNumber>-2147483648</volumeNumber></volume>";
    }
    EXPECT_EQ(mount_request(text.c_str()), request_with("mountVolumes", children));
    // The list with the shortest text for what is written.
    std::string letters;
    children.clear();
    for (int i = 0; i < 300; i++) {
        letters += "A ";
        children += "<volume><name>A</name><volumeNumber>-1</volumeNumber></volume>";
    }
    EXPECT_EQ(mount_request(letters.c_str()), request_with("mountVolumes", children));
}

TEST(MountVolumesRequest, WhatIsNoListIsRefused) {
    for (const char* text : {static_cast<const char*>(nullptr), "", " ,", "VOLUMES", "A B=x", "=1",
                             "A <", "</volume>", "ABCDEFGHIJKLMNOP", "A\x01"}) {
        uint32_t length = 77;
        errno = 0;
        EXPECT_EQ(BuildMountVolumesRequest(text, &length), nullptr);
        EXPECT_EQ(errno, EINVAL);
        errno = 0;
        EXPECT_EQ(BuildDismountVolumesRequest(text, &length), nullptr);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(length, 77U);
    }
}

TEST(DismountVolumesRequest, ANumberIsRefused) {
    EXPECT_EQ(dismount_request("DATA HOME=5"), "(null)");
    EXPECT_EQ(errno, EINVAL);
}

// A reply, the place in it, and what its last scan gave.
struct NameScan {
    int next(int (*scan)(char*, int, int*, VolumeName&)) {
        return scan(reply.begin(), reply.length(), &offset, name);
    }

    explicit NameScan(const std::string& text) : reply(text) {}

    ExactBlock reply;
    int offset = 0;
    VolumeName name = "untouched";
};

TEST(MountAllReply, NamesComeOneAfterTheOther) {
    struct Row {
        const char* command;
        int (*scan)(char*, int, int*, VolumeName&);
    };
    for (const Row& row :
         {Row{"mountAll", ScanMountAllReply}, Row{"dismountAll", ScanDismountAllReply}}) {
        NameScan scan(reply_with(row.command, "<volume><name>A</name></volume>\n"
                                              "<volume><name>B</name></volume>"));
        EXPECT_EQ(scan.next(row.scan), kOk);
        EXPECT_STREQ(scan.name, "A");
        EXPECT_EQ(scan.next(row.scan), kOk);
        EXPECT_STREQ(scan.name, "B");
        EXPECT_EQ(scan.next(row.scan), kRange);
        EXPECT_EQ(scan.next(row.scan), kRange);
        EXPECT_STREQ(scan.name, "B");
    }
}

TEST(MountAllReply, NothingChangedIsAnEmptyList) {
    NameScan empty("<zrpConsoleReply><mountAll></mountAll></zrpConsoleReply>");
    EXPECT_EQ(empty.next(ScanMountAllReply), kRange);
    NameScan closed("<zrpConsoleReply><mountAll/></zrpConsoleReply>");
    EXPECT_EQ(closed.next(ScanMountAllReply), kRange);
}

TEST(MountAllReply, AMalformedListIsNotItsEnd) {
    for (const std::string& text :
         {std::string(), reply_with("other", "<volume><name>A</name></volume>"),
          reply_with("mountAll", "<volume></volume>"), reply_with("mountAll", "<volume/>")}) {
        NameScan scan(text);
        EXPECT_EQ(scan.next(ScanMountAllReply), kInvalid) << text;
        EXPECT_STREQ(scan.name, "untouched");
        EXPECT_EQ(scan.offset, 0);
    }
    VolumeName name;
    expect_prefixes_fail(reply_with("mountAll", "<volume><name>A</name></volume>"),
                         [&](char* reply, int length) {
                             int offset = 0;
                             return ScanMountAllReply(reply, length, &offset, name);
                         });
}

std::string mounted(const std::string& name, const std::string& status, const std::string& code) {
    return "<volume><name>" + name + "</name><status>" + status + "</status><mountFailureCode>" +
           code + "</mountFailureCode></volume>";
}

std::string dismounted(const std::string& name, const std::string& code) {
    return "<volume><name>" + name + "</name><dismountFailureCode>" + code +
           "</dismountFailureCode></volume>";
}

TEST(MountVolumesReply, IsRecordsOrNothing) {
    expect_prefixes_fail(reply_with("mountVolumes", mounted("A", "0x3", "-17")),
                         [](char* reply, int length) {
                             MountedVolume volume = {"untouched", 77, 77};
                             int offset = 0;
                             const int rc = ScanMountVolumesReply(reply, length, &offset, &volume);
                             EXPECT_STREQ(volume.name, rc == kOk ? "A" : "untouched");
                             EXPECT_EQ(volume.status, rc == kOk ? 3U : 77U);
                             EXPECT_EQ(volume.mountFailureCode, rc == kOk ? -17 : 77);
                             return rc;
                         });
    expect_prefixes_fail(
        reply_with("dismountVolumes", dismounted("A", "6")), [](char* reply, int length) {
            DismountedVolume volume = {"untouched", 77};
            int offset = 0;
            const int rc = ScanDismountVolumesReply(reply, length, &offset, &volume);
            EXPECT_EQ(volume.dismountFailureCode, rc == kOk ? 6 : 77);
            return rc;
        });
}

// What a callback was given: "NAME:CODE ". It stops with 99 at the volume named STOP.
int note(std::string* seen, const std::string& name, int code) {
    *seen += name + ":" + std::to_string(code) + " ";
    return name == "STOP" ? 99 : 0;
}

int note_mounted(void* context, const MountedVolume& volume) {
    return note(static_cast<std::string*>(context), volume.name, volume.mountFailureCode);
}

int note_dismounted(void* context, const DismountedVolume& volume) {
    return note(static_cast<std::string*>(context), volume.name, volume.dismountFailureCode);
}

int run_mount(const char* volumes, ErrorText* errorText, const LogContext* log) {
    std::string seen;
    return MountVolumes(volumes, note_mounted, &seen, errorText, log);
}

int run_dismount(const char* volumes, ErrorText* errorText, const LogContext* log) {
    std::string seen;
    return DismountVolumes(volumes, note_dismounted, &seen, errorText, log);
}

using MountRun = int (*)(const char* volumes, ErrorText* errorText, const LogContext* log);
constexpr MountRun kRuns[] = {run_mount, run_dismount};

using MountOperation = CatalogueTest;

TEST_F(MountOperation, TheCallbackGetsEachVolume) {
    ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({reply_with("mountVolumes", mounted("A", "3", "0") + mounted("B", "0", "17")),
                     reply_with("dismountVolumes", dismounted("A", "0") + dismounted("B", "6"))}));
    std::string seen;
    EXPECT_EQ(MountVolumes("A B", note_mounted, &seen, nullptr, log), kOk);
    EXPECT_EQ(DismountVolumes("A B", note_dismounted, &seen, nullptr, log), kOk);
    EXPECT_EQ(seen, "A:0 B:17 A:0 B:6 ");
    EXPECT_EQ(document_of(peer.requests().at(0)), mount_request("A B"));
    EXPECT_EQ(document_of(peer.requests().at(1)), dismount_request("A B"));
    EXPECT_EQ(contents(), "");
}

TEST_F(MountOperation, TheCallbackStopsTheWalk) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({reply_with("mountVolumes", mounted("STOP", "3", "0") +
                                                                  mounted("B", "0", "17"))}));
    std::string seen;
    EXPECT_EQ(MountVolumes("A B", note_mounted, &seen, nullptr, log), 99);
    EXPECT_EQ(seen, "STOP:0 ");
}

TEST_F(MountOperation, AReplyWithoutVolumesIsRefused) {
    ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({reply_with("mountVolumes", ""), reply_with("dismountVolumes", ""),
                     reply_with("mountVolumes", mounted("A", "3", "0") + "<volume/>"), ""}));
    EXPECT_EQ(run_mount("A", nullptr, log), kInvalid);
    EXPECT_EQ(run_dismount("A", nullptr, log), kInvalid);
    EXPECT_EQ(run_mount("A", nullptr, log), kInvalid);
    EXPECT_EQ(run_mount("A", nullptr, log), kInvalid);
}

TEST_F(MountOperation, ASixteenCharacterNameIsNotSent) {
    ScriptedPeer peer(kMainDaemonSocket, answer_with({"<r><result value=\"9\"/></r>"}));
    for (const MountRun run : kRuns) {
        EXPECT_EQ(run(kLongestName, nullptr, log), 9);
    }
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(MountOperation, ABadListIsNotSent) {
    for (const MountRun run : kRuns) {
        expect_long_name_refused(
            [&](const char* name, LogContext* to) { return run(name, nullptr, to); });
        for (const char* text : {"", "VOLUMES", "A B=x", "A </x>"}) {
            expect_not_sent([&](LogContext* to) { return run(text, nullptr, to); }, kInvalid);
        }
    }
    expect_not_sent([](LogContext* to) { return run_dismount("A=5", nullptr, to); }, kInvalid);
}

TEST_F(MountOperation, EachFaultHasItsCodeAndItsLine) {
    for (const MountRun run : kRuns) {
        expect_faults(kMainDaemonSocket, [&](ErrorText* errorText, LogContext* to) {
            return run("DATA HOME", errorText, to);
        });
    }
}

TEST_F(MountOperation, WithoutMemoryNothingIsSent) {
    for (const MountRun run : kRuns) {
        expect_no_memory(9 + 255 + 2 * 80,
                         [&](LogContext* to) { return run("DATA HOME", nullptr, to); });
    }
}

using MountsOfTheServer = ServerTest;

TEST_F(MountsOfTheServer, AVolumeIsDismountedAndMountedAgain) {
    std::string seen;
    EXPECT_TRUE(is_mounted("DATA"));
    EXPECT_EQ(DismountVolumes("volume DATA", note_dismounted, &seen, &errorText, nullptr), kOk);
    EXPECT_FALSE(is_mounted("DATA"));
    EXPECT_EQ(MountVolumes("DATA", note_mounted, &seen, &errorText, nullptr), kOk);
    EXPECT_TRUE(is_mounted("DATA"));
    EXPECT_EQ(seen, "DATA:0 DATA:0 ");
}

TEST_F(MountsOfTheServer, WhatCannotBeIsToldVolumeByVolume) {
    std::string seen;
    EXPECT_EQ(MountVolumes("DATA, NOWHERE", note_mounted, &seen, &errorText, nullptr), kOk);
    EXPECT_EQ(DismountVolumes("NOWHERE", note_dismounted, &seen, &errorText, nullptr), kOk);
    EXPECT_EQ(seen, "DATA:17 NOWHERE:2 NOWHERE:2 ");
}

// The names that a scanner finds in a reply.
size_t count_names(std::string reply, int (*scan)(char*, int, int*, VolumeName&)) {
    int offset = 0;
    size_t count = 0;
    VolumeName name;
    while (scan(reply.data(), static_cast<int>(reply.size()), &offset, name) == kOk) {
        EXPECT_STRNE(name, "");
        count++;
    }
    return count;
}

TEST_F(MountsOfTheServer, AllAreDismountedAndMounted) {
    uint32_t length = 0;
    char* document = BuildDismountAllRequest(&length);
    const size_t count = count_names(ask(document, length), ScanDismountAllReply);
    EXPECT_GT(count, 0U);
    for (const auto& [name, status] : volumes()) {
        EXPECT_EQ(status & kVolumeMounted, 0U) << name;
    }
    document = BuildMountAllRequest(&length);
    EXPECT_GE(count_names(ask(document, length), ScanMountAllReply), count);
    EXPECT_TRUE(is_mounted("DATA"));
}

} // namespace
} // namespace zrp::volume_mounting_test
