#include "common/requests/volume_management.h"

#include "common/requests/volume_information.h"
#include "tests/support/failing_allocation.h"
#include "tests/unit/catalogue_fixture.h"
#include "tests/unit/failing_malloc.h"

namespace zrp::volume_management_test {
namespace {

std::string create_request(const char* name, const char* mountPoint, int32_t attributes,
                           int32_t number) {
    uint32_t length = 0;
    char* document = BuildCreateVolumeRequest(name, mountPoint, attributes, number, &length);
    return built(document, length);
}

std::string remove_request(const char* name, const char* options) {
    uint32_t length = 0;
    char* document = BuildRemoveVolumeRequest(name, options, &length);
    return built(document, length);
}

std::string modify_request(const char* name, uint32_t grant, uint32_t revoke) {
    uint32_t length = 0;
    char* document = BuildModifyVolumeRequest(name, grant, revoke, &length);
    return built(document, length);
}

TEST(CreateVolumeRequest, HoldsItsFourChildren) {
    EXPECT_EQ(create_request("DATA", "/media/data", -3, 17),
              "<zrpConsoleRequest pid=\"PID\"><createVolume>\n"
              "<volumeName>DATA</volumeName><mountPoint>/media/data</mountPoint>"
              "<attributes>-3</attributes><volumeNumber>17</volumeNumber>\n"
              "</createVolume></zrpConsoleRequest>");
}

TEST(CreateVolumeRequest, SendableTextsStandAsTheyAre) {
    for (const std::string& text : sendable_texts()) {
        EXPECT_EQ(create_request(text.c_str(), text.c_str(), INT32_MIN, INT32_MIN),
                  request_with("createVolume",
                               "<volumeName>" + text + "</volumeName><mountPoint>" + text +
                                   "</mountPoint><attributes>-2147483648</attributes>"
                                   "<volumeNumber>-2147483648</volumeNumber>"));
    }
}

TEST(CreateVolumeRequest, UnsendableTextsAreRefused) {
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildCreateVolumeRequest(text, "/m", 0, 0, length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildCreateVolumeRequest("DATA", text, 0, 0, length);
    });
}

TEST(RemoveVolumeRequest, HoldsOptionsOnlyWhenThereAreSome) {
    EXPECT_EQ(remove_request("DATA", nullptr),
              request_with("removeVolume", "<volumeName>DATA</volumeName>"));
    EXPECT_EQ(
        remove_request("DATA", "force"),
        request_with("removeVolume", "<volumeName>DATA</volumeName><options>force</options>"));
    EXPECT_EQ(remove_request("DATA", ""),
              request_with("removeVolume", "<volumeName>DATA</volumeName><options></options>"));
    EXPECT_EQ(remove_request("DATA", "<x>"), "(null)");
}

TEST(ModifyVolumeRequest, MasksAreUnsigned) {
    EXPECT_EQ(modify_request("DATA", 0xFFFFFFFF, 0),
              request_with("modifyVolume", "<volumeName>DATA</volumeName>"
                                           "<grant>4294967295</grant><revoke>0</revoke>"));
}

TEST(VolumeRequests, UnsendableNamesAreRefused) {
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildRemoveVolumeRequest(text, nullptr, length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildModifyVolumeRequest(text, 1, 2, length);
    });
    expect_unsendable_refused(
        [](const char* text, uint32_t* length) { return BuildPurgeVolumeRequest(text, length); });
}

TEST(PurgeVolumeRequest, HoldsTheName) {
    uint32_t length = 0;
    char* document = BuildPurgeVolumeRequest("DATA", &length);
    EXPECT_EQ(built(document, length),
              request_with("purgeVolume", "<volumeName>DATA</volumeName>"));
}

TEST(PurgeVolumeRequest, NeedsMemory) {
    const FailingMalloc failing(strlen("DATA") + 255);
    uint32_t length = 77;
    errno = 0;
    EXPECT_EQ(BuildPurgeVolumeRequest("DATA", &length), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(length, 77U);
}

// The replies that hold nothing but the volume's name.
struct NameScan {
    const char* command;
    int (*scan)(char* reply, int replyLength, VolumeName& name);
};

constexpr NameScan kNameScans[] = {
    {"createVolume", ScanCreateVolumeReply},
    {"removeVolume", ScanRemoveVolumeReply},
    {"purgeVolume", ScanPurgeVolumeReply},
};

int scan_text(const NameScan& row, const std::string& text, VolumeName& name) {
    const ExactBlock copy(text);
    return row.scan(copy.begin(), static_cast<int>(text.size()), name);
}

TEST(VolumeNameReply, TheNameIsCopied) {
    for (const NameScan& row : kNameScans) {
        VolumeName name = "untouched";
        const std::string element = "<volumeName>DATA</volumeName>";
        EXPECT_EQ(scan_text(row, " \n\t" + reply_with(row.command, element), name), kOk);
        EXPECT_STREQ(name, "DATA");
        EXPECT_EQ(scan_text(row, reply_with(row.command, "<volumeName></volumeName>"), name), kOk);
        EXPECT_STREQ(name, "");
    }
}

TEST(VolumeNameReply, AMissingElementChangesNothing) {
    const std::string element = "<volumeName>DATA</volumeName>";
    for (const NameScan& row : kNameScans) {
        for (const std::string& text :
             {std::string(), reply_with("other", element), reply_with(row.command, ""),
              reply_with(row.command, "<volumeName/>"),
              "<zrpConsoleReply><" + std::string(row.command) + "/></zrpConsoleReply>",
              "<" + std::string(row.command) + ">" + element + "</" + row.command + ">"}) {
            VolumeName name = "untouched";
            EXPECT_EQ(scan_text(row, text, name), kInvalid) << text;
            EXPECT_STREQ(name, "untouched");
        }
        VolumeName name = "untouched";
        char byte = '<';
        EXPECT_EQ(row.scan(&byte, -1, name), kInvalid);
        EXPECT_EQ(row.scan(nullptr, 5, name), kInvalid);
    }
}

TEST(VolumeNameReply, ALongNameIsCut) {
    VolumeName name;
    const std::string element = "<volumeName>" + std::string(500, 'x') + "</volumeName>";
    EXPECT_EQ(scan_text(kNameScans[0], reply_with("createVolume", element), name), kOk);
    EXPECT_EQ(std::string(name), std::string(kVolumeNameSize - 1, 'x'));
}

TEST(VolumeNameReply, ATruncatedReplyIsRefused) {
    for (const NameScan& row : kNameScans) {
        VolumeName name;
        expect_prefixes_fail(
            reply_with(row.command, "<volumeName>DATA</volumeName>"),
            [&](char* reply, int length) { return row.scan(reply, length, name); });
    }
}

TEST(ModifyVolumeReply, IsARecordOrNothing) {
    const std::string whole =
        reply_with("modifyVolume", "<volumeName>DATA</volumeName><grant>0x2000</grant>");
    expect_prefixes_fail(whole, [](char* reply, int length) {
        ModifiedVolume volume = {"untouched", 77};
        const int rc = ScanModifyVolumeReply(reply, length, &volume);
        EXPECT_STREQ(volume.volumeName, rc == kOk ? "DATA" : "untouched");
        EXPECT_EQ(volume.grant, rc == kOk ? 0x2000U : 77U);
        return rc;
    });
    ModifiedVolume volume = {"untouched", 77};
    const std::string half = reply_with("modifyVolume", "<volumeName>DATA</volumeName>");
    EXPECT_EQ(
        ScanModifyVolumeReply(ExactBlock(half).begin(), static_cast<int>(half.size()), &volume),
        kInvalid);
    EXPECT_STREQ(volume.volumeName, "untouched");
}

// Each operation with the name as its only free argument, and the room that its request takes.
struct NamedOperation {
    const char* name;
    int (*run)(const char* volumeName, ErrorText* errorText, const LogContext* log);
    size_t room; // for a name of 4 characters
};

int run_create(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    VolumeName created;
    return CreateVolume(volumeName, "/m", 0, kAnyVolumeNumber, created, errorText, log);
}

int run_remove(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    VolumeName removed;
    return RemoveVolume(volumeName, removed, errorText, log);
}

int run_remove_with_options(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    VolumeName removed;
    return RemoveVolumeWithOptions(volumeName, "force", removed, errorText, log);
}

int run_modify(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    ModifiedVolume volume;
    return ModifyVolume(volumeName, 1, 2, &volume, errorText, log);
}

int run_information(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    VolumeRecord record;
    int version = kVolumeInformationVersion;
    return GetVolumeInformation(volumeName, &version, &record, errorText, log);
}

constexpr NamedOperation kOperations[] = {
    {"create", run_create, 4 + 2 + 254},
    {"remove", run_remove, 4 + 255},
    {"remove with options", run_remove_with_options, 4 + 5 + 254},
    {"modify", run_modify, 4 + 255},
    {"information", run_information, 1024},
};

using VolumeOperation = CatalogueTest;

TEST_F(VolumeOperation, AnAnswerIsRead) {
    ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({reply_with("createVolume", "<volumeName>D1</volumeName>"),
                     reply_with("removeVolume", "<volumeName>D2</volumeName>"),
                     reply_with("modifyVolume", "<volumeName>D3</volumeName><grant>6</grant>")}));
    ErrorText errorText = "untouched";
    VolumeName name;
    EXPECT_EQ(CreateVolume("D1", "/m", 1, 2, name, &errorText, log), kOk);
    EXPECT_STREQ(name, "D1");
    EXPECT_STREQ(errorText, "");
    EXPECT_EQ(RemoveVolumeWithOptions("D2", "o", name, nullptr, log), kOk);
    EXPECT_STREQ(name, "D2");
    ModifiedVolume volume;
    EXPECT_EQ(ModifyVolume("D3", 6, 1, &volume, nullptr, nullptr), kOk);
    EXPECT_STREQ(volume.volumeName, "D3");
    EXPECT_EQ(volume.grant, 6U);
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(document_of(peer.requests().at(0)), create_request("D1", "/m", 1, 2));
    EXPECT_EQ(document_of(peer.requests().at(1)), remove_request("D2", "o"));
    EXPECT_EQ(document_of(peer.requests().at(2)), modify_request("D3", 6, 1));
}

TEST_F(VolumeOperation, AFifteenCharacterNameIsSent) {
    ScriptedPeer peer(kMainDaemonSocket, answer_with({"<r><result value=\"9\"/></r>"}));
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.run(kLongestName, nullptr, log), 9);
    }
    EXPECT_EQ(peer.connections(), std::size(kOperations));
    EXPECT_NE(peer.requests().at(0).find("<volumeName>ABCDEFGHIJKLMNO</volumeName>"),
              std::string::npos);
}

TEST_F(VolumeOperation, ASixteenCharacterNameIsNotSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_long_name_refused(
            [&](const char* name, LogContext* to) { return row.run(name, nullptr, to); });
    }
}

TEST_F(VolumeOperation, AHostileNameIsNotSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_not_sent([&](LogContext* to) { return row.run("</x>", nullptr, to); }, kInvalid);
    }
    VolumeName name;
    expect_not_sent(
        [&](LogContext* to) { return CreateVolume("A", nullptr, 0, 0, name, nullptr, to); },
        kInvalid);
}

TEST_F(VolumeOperation, EachFaultHasItsCodeAndItsLine) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_faults(kMainDaemonSocket, [&](ErrorText* errorText, LogContext* to) {
            return row.run("DATA", errorText, to);
        });
    }
}

TEST_F(VolumeOperation, WithoutMemoryNothingIsSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_no_memory(row.room, [&](LogContext* to) { return row.run("DATA", nullptr, to); });
    }
}

TEST_F(VolumeOperation, WithoutMemoryForTheReplyTheExchangeFails) {
    const std::string text =
        reply_with("createVolume", "<volumeName>" + std::string(4000, 'x') + "</volumeName>");
    ScriptedPeer peer(kMainDaemonSocket, answer_with({text}));
    const FailingMalloc failing(text.size());
    EXPECT_EQ(run_create("DATA", nullptr, log), kNoMemory);
    EXPECT_EQ(contents(), "[! TIME] IPCServRequest rc=12\n");
}

TEST_F(VolumeOperation, AnEmptyReplyIsRefused) {
    ScriptedPeer peer(kMainDaemonSocket, answer_with({""}));
    for (const NamedOperation& row : kOperations) {
        EXPECT_EQ(row.run("DATA", nullptr, log), kInvalid) << row.name;
    }
}

using VolumesOfTheServer = ServerTest;

TEST_F(VolumesOfTheServer, ACreatedVolumeIsListedUntilItIsRemoved) {
    VolumeName name;
    EXPECT_FALSE(is_listed(kLongestName));
    EXPECT_EQ(
        CreateVolume(kLongestName, "/mnt/new", 0, kAnyVolumeNumber, name, &errorText, nullptr), kOk)
        << errorText;
    EXPECT_STREQ(name, kLongestName);
    EXPECT_TRUE(is_listed(kLongestName));
    EXPECT_EQ(RemoveVolume(kLongestName, name, &errorText, nullptr), kOk) << errorText;
    EXPECT_FALSE(is_listed(kLongestName));
    EXPECT_EQ(RemoveVolumeWithOptions("HOME", "force", name, &errorText, nullptr), kOk);
    EXPECT_STREQ(name, "HOME");
    EXPECT_FALSE(is_listed("HOME"));
}

TEST_F(VolumesOfTheServer, ARefusalTellsWhy) {
    VolumeName name = "untouched";
    EXPECT_EQ(CreateVolume("DATA", "/mnt/new", 0, kAnyVolumeNumber, name, &errorText, nullptr), 17);
    EXPECT_STREQ(errorText, "17 volume exists: DATA");
    EXPECT_STREQ(name, "untouched");
    EXPECT_EQ(CreateVolume("", "/mnt/new", 0, kAnyVolumeNumber, name, &errorText, nullptr), 22);
    EXPECT_EQ(RemoveVolume("NOWHERE", name, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such volume: NOWHERE");
    ModifiedVolume volume;
    EXPECT_EQ(ModifyVolume("NOWHERE", 1, 0, &volume, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such volume: NOWHERE");
}

TEST_F(VolumesOfTheServer, AttributesAreGrantedAndRevoked) {
    constexpr uint32_t kHidden = 0x80000000;
    ModifiedVolume volume;
    EXPECT_EQ(ModifyVolume("DATA", kHidden, 0, &volume, &errorText, nullptr), kOk) << errorText;
    EXPECT_STREQ(volume.volumeName, "DATA");
    EXPECT_NE(volume.grant & kHidden, 0U);
    EXPECT_NE(volumes().at("DATA") & kHidden, 0U);
    EXPECT_EQ(ModifyVolume("DATA", 0, kHidden, &volume, &errorText, nullptr), kOk);
    EXPECT_EQ(volumes().at("DATA") & kHidden, 0U);
}

TEST_F(VolumesOfTheServer, InformationComesInTheVersionAskedFor) {
    for (int asked = 1; asked <= kMaxVolumeInformationVersion; asked++) {
        VolumeRecord record;
        int version = asked;
        EXPECT_EQ(GetVolumeInformation("DATA", &version, &record, &errorText, nullptr), kOk);
        EXPECT_EQ(version, asked);
        ASSERT_NE(record, nullptr);
        EXPECT_STREQ(static_cast<const VolumeInformation*>(record.get())->name, "DATA");
    }
    VolumeRecord record;
    int version = 7;
    EXPECT_EQ(GetVolumeInformation("DATA", &version, &record, &errorText, nullptr), 22);
    EXPECT_STREQ(errorText, "22 versionTag is not one of 1 to 6");
    EXPECT_EQ(record, nullptr);
}

TEST_F(VolumesOfTheServer, WithoutMemoryForTheRecordThereIsNone) {
    VolumeRecord record;
    int version = kVolumeInformationVersion;
    const FailingAllocation failing(sizeof(VolumeInformation));
    EXPECT_EQ(GetVolumeInformation("DATA", &version, &record, nullptr, nullptr), kNoMemory);
    EXPECT_EQ(record, nullptr);
}

TEST_F(VolumesOfTheServer, APurgeLeavesNothingToPurge) {
    uint32_t length = 0;
    char* document = BuildPurgeVolumeRequest("DATA", &length);
    std::string reply = ask(document, length);
    VolumeName name;
    EXPECT_EQ(ScanPurgeVolumeReply(reply.data(), static_cast<int>(reply.size()), name), kOk);
    EXPECT_STREQ(name, "DATA");
    VolumeRecord record;
    int version = kVolumeInformationVersion;
    ASSERT_EQ(GetVolumeInformation("DATA", &version, &record, nullptr, nullptr), kOk);
    EXPECT_EQ(static_cast<const VolumeInformation*>(record.get())->purgeableBlocks, 0U);
}

} // namespace
} // namespace zrp::volume_management_test
