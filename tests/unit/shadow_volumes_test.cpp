#include "common/requests/shadow_volumes.h"

#include "common/requests/volume_information.h"
#include "common/requests/volume_management.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::shadow_volumes_test {
namespace {

std::string create_request(const char* name, const char* path, const char* mountPoint,
                           int32_t attributes) {
    uint32_t length = 0;
    char* document = BuildCreateShadowVolumeRequest(name, path, mountPoint, attributes, &length);
    return built(document, length);
}

std::string remove_request(const char* name, const char* mountPoint) {
    uint32_t length = 0;
    char* document = BuildRemoveShadowVolumeRequest(name, mountPoint, &length);
    return built(document, length);
}

std::string remove_configuration_request(const char* name, const char* mountPoint,
                                         const char* shadowName) {
    uint32_t length = 0;
    char* document = BuildRemoveShadowConfigurationRequest(name, mountPoint, shadowName, &length);
    return built(document, length);
}

TEST(CreateShadowVolumeRequest, HoldsItsChildrenInAGroup) {
    EXPECT_EQ(create_request("DATA", "/mnt/s", "/media/data", 5),
              "<zrpConsoleRequest pid=\"PID\"><shadow>\n"
              "<createVolume><volumeName>DATA</volumeName><path>/mnt/s</path>"
              "<mountPoint>/media/data</mountPoint><attributes>5</attributes></createVolume>\n"
              "</shadow></zrpConsoleRequest>");
}

TEST(CreateShadowVolumeRequest, SendableTextsStandAsTheyAre) {
    for (const std::string& text : sendable_texts()) {
        EXPECT_EQ(create_request(text.c_str(), text.c_str(), text.c_str(), INT32_MIN),
                  request_with("shadow", "<createVolume><volumeName>" + text +
                                             "</volumeName><path>" + text + "</path><mountPoint>" +
                                             text +
                                             "</mountPoint><attributes>-2147483648"
                                             "</attributes></createVolume>"));
    }
}

TEST(RemoveShadowVolumeRequest, TheMountPointIsOptional) {
    EXPECT_EQ(remove_request("DATA", "/mnt/s"),
              "<zrpConsoleRequest pid=\"PID\"><shadow>\n"
              "<removeVolume><volumeName>DATA</volumeName><mountPoint>/mnt/s</mountPoint>"
              "</removeVolume>\n</shadow></zrpConsoleRequest>");
    EXPECT_EQ(remove_request("DATA", nullptr),
              request_with("shadow", "<removeVolume><volumeName>DATA</volumeName></removeVolume>"));
}

TEST(RemoveShadowConfigurationRequest, HoldsItsChildrenInAGroup) {
    EXPECT_EQ(remove_configuration_request("DATA", "/m", "DATA_S"),
              "<zrpConsoleRequest pid=\"PID\"><shadow>\n"
              "<removeConf><volumeName>DATA</volumeName><mountPoint>/m</mountPoint>"
              "<shadowVolName>DATA_S</shadowVolName></removeConf>\n"
              "</shadow></zrpConsoleRequest>");
    const std::string text(5000, 'x');
    EXPECT_EQ(remove_configuration_request(text.c_str(), text.c_str(), text.c_str()),
              request_with("shadow", "<removeConf><volumeName>" + text +
                                         "</volumeName><mountPoint>" + text +
                                         "</mountPoint><shadowVolName>" + text +
                                         "</shadowVolName></removeConf>"));
}

TEST(ShadowRequests, UnsendableTextsAreRefusedInEachPlace) {
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildCreateShadowVolumeRequest(text, "/p", "/m", 0, length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildCreateShadowVolumeRequest("A", text, "/m", 0, length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildCreateShadowVolumeRequest("A", "/p", text, 0, length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildRemoveShadowVolumeRequest(text, "/m", length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildRemoveShadowConfigurationRequest(text, "/m", "S", length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildRemoveShadowConfigurationRequest("A", text, "S", length);
    });
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildRemoveShadowConfigurationRequest("A", "/m", text, length);
    });
    EXPECT_EQ(remove_request("A", "<"), "(null)");
}

std::string shadow_reply(const std::string& group, const std::string& content) {
    return reply_with("shadow", "<" + group + ">" + content + "</" + group + ">");
}

constexpr const char* kNamed = "<volumeName>DATA</volumeName>";

// The replies that hold nothing but the volume's name.
struct NameScan {
    const char* group;
    int (*scan)(char* reply, int replyLength, VolumeName& name);
};

constexpr NameScan kNameScans[] = {
    {"createVolume", ScanCreateShadowVolumeReply},
    {"removeConf", ScanRemoveShadowConfigurationReply},
};

TEST(ShadowReply, TheNameIsTakenFromTheGroup) {
    for (const NameScan& row : kNameScans) {
        expect_prefixes_fail(shadow_reply(row.group, kNamed), [&](char* reply, int length) {
            VolumeName name = "untouched";
            const int rc = row.scan(reply, length, name);
            EXPECT_STREQ(name, rc == kOk ? "DATA" : "untouched");
            return rc;
        });
        for (const std::string& text :
             {reply_with("shadow", kNamed), shadow_reply("removeVolume", kNamed),
              shadow_reply(row.group, ""), reply_with(row.group, kNamed)}) {
            VolumeName name = "untouched";
            EXPECT_EQ(row.scan(ExactBlock(text).begin(), static_cast<int>(text.size()), name),
                      kInvalid)
                << text;
            EXPECT_STREQ(name, "untouched");
        }
    }
}

TEST(RemoveShadowVolumeReply, IsARecordOrNothing) {
    expect_prefixes_fail(
        shadow_reply("removeVolume", std::string(kNamed) + "<shadowVolName>DATA_S</shadowVolName>"),
        [](char* reply, int length) {
            RemovedShadow removed = {"untouched", "untouched"};
            const int rc = ScanRemoveShadowVolumeReply(reply, length, &removed);
            EXPECT_STREQ(removed.volumeName, rc == kOk ? "DATA" : "untouched");
            EXPECT_STREQ(removed.shadowVolName, rc == kOk ? "DATA_S" : "untouched");
            return rc;
        });
    const std::string half = shadow_reply("removeVolume", kNamed);
    RemovedShadow removed = {"untouched", "untouched"};
    EXPECT_EQ(ScanRemoveShadowVolumeReply(ExactBlock(half).begin(), static_cast<int>(half.size()),
                                          &removed),
              kInvalid);
    EXPECT_STREQ(removed.volumeName, "untouched");
}

// Each operation with the name as its only free argument, and the room that its request takes.
struct NamedOperation {
    const char* name;
    int (*run)(const char* volumeName, ErrorText* errorText, const LogContext* log);
    size_t room; // for a name of 4 characters
};

int run_create(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    VolumeName created;
    return CreateShadowVolume(volumeName, "/p", "/m", 0, created, errorText, log);
}

int run_remove(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    RemovedShadow removed;
    return RemoveShadowVolume(volumeName, &removed, errorText, log);
}

int run_remove_at(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    RemovedShadow removed;
    return RemoveShadowVolumeAt(volumeName, "/m", &removed, errorText, log);
}

int run_remove_configuration(const char* volumeName, ErrorText* errorText, const LogContext* log) {
    VolumeName removed;
    return RemoveShadowConfiguration(volumeName, "/m", "A_NAME_OF_THE_SERVER", removed, errorText,
                                     log);
}

constexpr NamedOperation kOperations[] = {
    {"create", run_create, 4 + 2 + 2 + 253},
    {"remove", run_remove, 4 + 255},
    {"remove at", run_remove_at, 4 + 2 + 254},
    {"remove configuration", run_remove_configuration, 4 + 2 + 20 + 253},
};

using ShadowOperation = CatalogueTest;

TEST_F(ShadowOperation, AnAnswerIsRead) {
    const std::string removal =
        shadow_reply("removeVolume", std::string(kNamed) + "<shadowVolName>S</shadowVolName>");
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({shadow_reply("createVolume", kNamed), removal, removal,
                                   shadow_reply("removeConf", kNamed)}));
    VolumeName name = "";
    RemovedShadow removed = {};
    EXPECT_EQ(CreateShadowVolume("DATA", "/p", "/m", 1, name, nullptr, log), kOk);
    EXPECT_STREQ(name, "DATA");
    EXPECT_EQ(RemoveShadowVolume("DATA", &removed, nullptr, log), kOk);
    EXPECT_EQ(RemoveShadowVolumeAt("DATA", "/m", &removed, nullptr, log), kOk);
    EXPECT_STREQ(removed.shadowVolName, "S");
    name[0] = '\0';
    EXPECT_EQ(RemoveShadowConfiguration("DATA", "/m", "S", name, nullptr, log), kOk);
    EXPECT_STREQ(name, "DATA");
    const std::vector<std::string> requests = peer.requests();
    EXPECT_EQ(document_of(requests.at(0)), create_request("DATA", "/p", "/m", 1));
    EXPECT_EQ(document_of(requests.at(1)), remove_request("DATA", nullptr));
    EXPECT_EQ(document_of(requests.at(2)), remove_request("DATA", "/m"));
    EXPECT_EQ(document_of(requests.at(3)), remove_configuration_request("DATA", "/m", "S"));
    EXPECT_EQ(contents(), "");
}

TEST_F(ShadowOperation, AFifteenCharacterNameIsSentAndASixteenCharacterOneIsNot) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        {
            ScriptedPeer peer(kMainDaemonSocket, answer_with({"<r><result value=\"9\"/></r>"}));
            EXPECT_EQ(row.run(kLongestName, nullptr, log), 9);
            EXPECT_EQ(peer.connections(), 1U);
        }
        expect_long_name_refused(
            [&](const char* name, LogContext* to) { return row.run(name, nullptr, to); });
        expect_not_sent([&](LogContext* to) { return row.run("</x>", nullptr, to); }, kInvalid);
    }
    RemovedShadow removed;
    expect_not_sent(
        [&](LogContext* to) { return RemoveShadowVolumeAt("A", nullptr, &removed, nullptr, to); },
        kInvalid);
}

TEST_F(ShadowOperation, EachFaultHasItsCodeAndItsLine) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_faults(kMainDaemonSocket, [&](ErrorText* errorText, LogContext* to) {
            return row.run("DATA", errorText, to);
        });
    }
}

TEST_F(ShadowOperation, WithoutMemoryNothingIsSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_no_memory(row.room, [&](LogContext* to) { return row.run("DATA", nullptr, to); });
    }
}

class ShadowsOfTheServer : public ServerTest {
protected:
    // Mount point and shadow of DATA as the server reports them; "-" for no shadow.
    static std::pair<std::string, std::string> places() {
        VolumeRecord record;
        int version = kVolumeInformationVersion;
        EXPECT_EQ(GetVolumeInformation("DATA", &version, &record, nullptr, nullptr), kOk);
        const auto* volume = static_cast<const VolumeInformation*>(record.get());
        return {volume->mountPoint,
                volume->shadowMountPoint == nullptr ? "-" : volume->shadowMountPoint};
    }
};

TEST_F(ShadowsOfTheServer, AShadowIsSeenUntilItIsRemoved) {
    const std::string mountPoint = places().first;
    VolumeName name;
    ASSERT_EQ(places().second, "-");
    EXPECT_EQ(
        CreateShadowVolume("DATA", "/mnt/s", mountPoint.c_str(), 0, name, &errorText, nullptr), kOk)
        << errorText;
    EXPECT_STREQ(name, "DATA");
    EXPECT_EQ(places().second, "/mnt/s");
    RemovedShadow removed;
    EXPECT_EQ(RemoveShadowVolumeAt("DATA", mountPoint.c_str(), &removed, &errorText, nullptr), kOk)
        << errorText;
    EXPECT_STREQ(removed.volumeName, "DATA");
    EXPECT_EQ(places().second, "-");
    EXPECT_EQ(RemoveShadowConfiguration("DATA", mountPoint.c_str(), removed.shadowVolName, name,
                                        &errorText, nullptr),
              kOk)
        << errorText;
    EXPECT_STREQ(name, "DATA");
}

TEST_F(ShadowsOfTheServer, ARefusalTellsWhy) {
    VolumeName name;
    RemovedShadow removed;
    EXPECT_EQ(RemoveShadowVolume("DATA", &removed, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 volume has no shadow: DATA");
    EXPECT_EQ(RemoveShadowVolumeAt("DATA", "/elsewhere", &removed, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 not a mount point of DATA: /elsewhere");
    EXPECT_EQ(CreateShadowVolume("DATA", "relative", places().first.c_str(), 0, name, &errorText,
                                 nullptr),
              22);
    EXPECT_STREQ(errorText, "22 path is not an absolute path");
    EXPECT_EQ(
        RemoveShadowConfiguration("DATA", places().first.c_str(), "X", name, &errorText, nullptr),
        2);
    EXPECT_STREQ(errorText, "2 no such shadow volume: X");
}

} // namespace
} // namespace zrp::shadow_volumes_test
