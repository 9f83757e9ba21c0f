#include "common/requests/storage_control.h"

#include <string>
#include <utility>
#include <vector>

#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::storage_control_test {
namespace {

constexpr size_t kRoom = 512;

using Listed = std::vector<std::pair<std::string, int>>;

void collect(const char* volumeName, int32_t kind, void* userData) {
    static_cast<Listed*>(userData)->emplace_back(volumeName, kind);
}

std::string exclusion_reply(const std::string& content) {
    return " \n<zrp2bks_reply><exclusion_control>" + content +
           "</exclusion_control></zrp2bks_reply>";
}

const char* const kTwoLists = "<zrpincluded><volumeName>DATA</volumeName>\n<volumeName>SYS"
                              "</volumeName></zrpincluded>"
                              "<zrpexcluded><volumeName>OLD</volumeName></zrpexcluded>";

PeerScript answer(const std::string& text) {
    return {read_request(), send_bytes(reply(text))};
}

std::string control_request(const std::string& content) {
    return "<zrp2bks_request pid=\"PID\"><exclusion_control>\n" + content +
           "\n</exclusion_control></zrp2bks_request>";
}

using StorageControl = OperationTest;

struct Choice {
    int32_t which;
    const char* request;
    Listed listed;
};

class StorageControlList : public StorageControl, public testing::WithParamInterface<Choice> {};

INSTANTIATE_TEST_SUITE_P(Choices, StorageControlList,
                         testing::Values(Choice{0, "<all/>", {{"OLD", 2}, {"DATA", 4}, {"SYS", 4}}},
                                         Choice{6, "<all/>", {{"OLD", 2}, {"DATA", 4}, {"SYS", 4}}},
                                         Choice{2, "<zrpexcluded/>", {{"OLD", 2}}},
                                         Choice{4, "<zrpincluded/>", {{"DATA", 4}, {"SYS", 4}}},
                                         Choice{7,
                                                "<zrpexcluded/><zrpincluded/>",
                                                {{"OLD", 2}, {"DATA", 4}, {"SYS", 4}}}),
                         [](const auto& choice) {
                             return "Which" + std::to_string(choice.param.which);
                         });

TEST_P(StorageControlList, AsksForItsListsAndReportsExcludedVolumesFirst) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer(exclusion_reply(kTwoLists))});
    Listed listed;
    EXPECT_EQ(IPCBKSControlList(collect, &listed, log, GetParam().which), kOk);
    EXPECT_EQ(listed, GetParam().listed);
    EXPECT_EQ(
        document_of(peer.requests().at(0)),
        control_request("<listVolumes>" + std::string(GetParam().request) + "</listVolumes>"));
    RequestHeader header;
    memcpy(&header, peer.requests().at(0).data(), sizeof header);
    EXPECT_EQ(header.requestNumber, kStorageDaemonRequest);
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageControl, AMissingListIsEmpty) {
    for (const char* content : {"", "<zrpexcluded/>", "<zrpexcluded></zrpexcluded>",
                                "<zrpexcluded><other/></zrpexcluded><zrpincluded/>"}) {
        ScriptedPeer peer(kStorageDaemonSocket, {answer(exclusion_reply(content))});
        Listed listed;
        EXPECT_EQ(IPCBKSControlList(collect, &listed, log, 0), kOk) << content;
        EXPECT_EQ(listed, Listed{});
    }
    EXPECT_EQ(contents(), "");
}

std::string marks(int first, int rc) {
    std::string text;
    for (int mark = first; mark <= 4; mark++) {
        text += "[! TIME] IPCBKSControlList: [" + std::to_string(mark) +
                "] rc=" + std::to_string(rc) + "\n";
    }
    return text;
}

TEST_F(StorageControl, AListThatIsNotThereIsLoggedStepByStep) {
    struct Row {
        const char* text;
        int rc;
        int firstMark;
    };
    const Row rows[] = {
        {"<zrp2bks_reply><result value=\"-9\"/></zrp2bks_reply>", -9, 1},
        {"<other/>", kNotFound, 1},
        {"", kNotFound, 1},
        {"<zrp2bks_reply><exclusion_control>", kNotFound, 1},
        {"<zrp2bks_reply></zrp2bks_reply>", kNotFound, 2},
        {"<zrp2bks_reply/><exclusion_control></exclusion_control>", kNotFound, 2},
    };
    for (const Row& row : rows) {
        ScriptedPeer peer(kStorageDaemonSocket, {answer(row.text)});
        empty_file();
        Listed listed;
        EXPECT_EQ(IPCBKSControlList(collect, &listed, log, 0), row.rc) << row.text;
        EXPECT_EQ(contents(), marks(row.firstMark, row.rc)) << row.text;
        EXPECT_EQ(IPCBKSControlList(collect, &listed, nullptr, 0), row.rc);
        EXPECT_EQ(listed, Listed{});
    }
}

TEST_F(StorageControl, TheLogGetsRequestAndReply) {
    operations().SetLogLevel(kLogDump);
    const std::string text = exclusion_reply("");
    ScriptedPeer peer(kStorageDaemonSocket, {answer(text)});
    Listed listed;
    EXPECT_EQ(IPCBKSControlList(collect, &listed, log, 0), kOk);
    const std::string request = peer.requests().at(0).substr(sizeof(RequestHeader));
    EXPECT_EQ(contents(), "[* TIME] <ldump len=\"" + std::to_string(request.size()) + "\">\n" +
                              request + "\n</ldump>\n[* TIME] <ldump len=\"" +
                              std::to_string(text.size()) + "\">\n" + text + "\n</ldump>\n");
}

TEST_F(StorageControl, EveryPrefixOfAReplyIsReadInItsBounds) {
    const std::string text = exclusion_reply(kTwoLists);
    std::vector<PeerScript> scripts;
    for (size_t length = 0; length < text.size(); length++) {
        scripts.push_back(answer(text.substr(0, length)));
    }
    ScriptedPeer peer(kStorageDaemonSocket, scripts);
    for (size_t length = 0; length < text.size(); length++) {
        Listed listed;
        EXPECT_EQ(IPCBKSControlList(collect, &listed, nullptr, 0), kNotFound) << length;
    }
}

TEST_F(StorageControl, AListedNameOf255CharactersFits) {
    const std::string name(255, 'x');
    ScriptedPeer peer(kStorageDaemonSocket,
                      {answer(exclusion_reply("<zrpexcluded><volumeName>" + name +
                                              "</volumeName></zrpexcluded>"))});
    Listed listed;
    EXPECT_EQ(IPCBKSControlList(collect, &listed, log, 0), kOk);
    EXPECT_EQ(listed, (Listed{{name, 2}}));
}

TEST_F(StorageControl, ALongerListedNameEndsTheProcess) {
    ScriptedPeer peer(kStorageDaemonSocket,
                      {answer(exclusion_reply("<zrpexcluded><volumeName>" + std::string(256, 'x') +
                                              "</volumeName></zrpexcluded>"))});
    Listed listed;
    EXPECT_EXIT(IPCBKSControlList(collect, &listed, nullptr, 0), testing::KilledBySignal(SIGABRT),
                "");
}

TEST_F(StorageControl, AListNeedsACallbackAndAChoice) {
    Listed listed;
    EXPECT_EQ(IPCBKSControlList(nullptr, &listed, log, 0), kInvalid);
    EXPECT_EQ(IPCBKSControlList(collect, &listed, log, 1), kInvalid);
    EXPECT_EQ(contents(), "");
}

struct Action {
    uint32_t action;
    const char* request;
};

class StorageControlAction : public StorageControl, public testing::WithParamInterface<Action> {};

INSTANTIATE_TEST_SUITE_P(
    Actions, StorageControlAction,
    testing::Values(
        Action{0x1, "<removeVolume><volumeName>DATA</volumeName></removeVolume>"},
        Action{0x2, "<createVolume><volumeName>DATA</volumeName></createVolume>"},
        Action{0x3, "<createVolume><volumeName>DATA</volumeName></createVolume>"},
        Action{0x22, "<createVolume><volumeName>DATA</volumeName><mountVolumes/></createVolume>"},
        Action{0x11,
               "<removeVolume><volumeName>DATA</volumeName><dismountVolumes/></removeVolume>"},
        Action{0x31, "<removeVolume><volumeName>DATA</volumeName><mountVolumes/><dismountVolumes/>"
                     "</removeVolume>"}),
    [](const auto& action) { return "Action" + std::to_string(action.param.action); });

TEST_P(StorageControlAction, SendsItsCommand) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer(exclusion_reply(""))});
    EXPECT_EQ(IPCBKSControlAction(log, GetParam().action, "DATA"), kOk);
    EXPECT_EQ(document_of(peer.requests().at(0)), control_request(GetParam().request));
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageControl, AnActionMustAddOrRemove) {
    for (const uint32_t action : {0x0U, 0x10U, 0x20U, 0x40U}) {
        EXPECT_EQ(IPCBKSControlAction(log, action, "DATA"), kInvalid);
    }
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageControl, AMountPointIsCopied) {
    ScriptedPeer peer(kStorageDaemonSocket,
                      {answer(exclusion_reply("<get_volume_mount_point>/media/DATA"
                                              "</get_volume_mount_point>"))});
    StorageMountPoint mountPoint = "x";
    EXPECT_EQ(IPCBKSControlActionGetMountPoint(log, "DATA", mountPoint), kOk);
    EXPECT_STREQ(mountPoint, "/media/DATA");
    EXPECT_EQ(document_of(peer.requests().at(0)),
              control_request("<get_volume_mount_point><volumeName>DATA</volumeName>"
                              "</get_volume_mount_point>"));
}

TEST_F(StorageControl, AMountPointIsAskedForByTheNameOfAReply) {
    for (const std::string name : {"R&D", "R&amp;D"}) {
        ScriptedPeer peer(kStorageDaemonSocket, {answer(exclusion_reply(""))});
        StorageMountPoint mountPoint;
        EXPECT_EQ(IPCBKSControlActionGetMountPoint(log, name.c_str(), mountPoint), kNotFound);
        EXPECT_EQ(document_of(peer.requests().at(0)),
                  control_request("<get_volume_mount_point><volumeName>" + name +
                                  "</volumeName></get_volume_mount_point>"));
    }
}

TEST_F(StorageControl, AMountPointThatIsNotToldOrTooLong) {
    struct Row {
        std::string content;
        int rc;
        std::string mountPoint;
    };
    const std::string longest(kStorageMountPointSize - 1, 'm');
    const Row rows[] = {
        {"", kNotFound, ""},
        {"<get_volume_mount_point>/media", kNotFound, ""},
        {"<get_volume_mount_point/>", kOk, ""},
        {"<get_volume_mount_point>" + longest + "</get_volume_mount_point>", kOk, longest},
        {"<get_volume_mount_point>m" + longest + "</get_volume_mount_point>", kTooLong, ""},
        {"<result value=\"7\"/>", 7, ""},
    };
    for (const Row& row : rows) {
        ScriptedPeer peer(kStorageDaemonSocket, {answer(exclusion_reply(row.content))});
        StorageMountPoint mountPoint = "x";
        EXPECT_EQ(IPCBKSControlActionGetMountPoint(log, "DATA", mountPoint), row.rc);
        EXPECT_EQ(mountPoint, row.mountPoint);
    }
    EXPECT_EQ(contents(), "");
}

using Run = int (*)(const LogContext* log, const char* name);

struct NamedRun {
    const char* name;
    Run run;
    bool takesName;
    int spoilt;        // code for a reply that holds nothing
    bool asks = false; // about a name, which may come out of a reply
};

const NamedRun kRuns[] = {
    {"IPCBKSControlList",
     [](const LogContext* log, const char*) {
         Listed listed;
         return IPCBKSControlList(collect, &listed, log, 0);
     },
     false, kNotFound},
    {"IPCBKSControlAction",
     [](const LogContext* log, const char* name) { return IPCBKSControlAction(log, 1, name); },
     true, kOk},
    {"IPCBKSControlActionGetMountPoint",
     [](const LogContext* log, const char* name) {
         StorageMountPoint mountPoint;
         return IPCBKSControlActionGetMountPoint(log, name, mountPoint);
     },
     true, kNotFound, true},
};

class EachStorageControl : public StorageControl, public testing::WithParamInterface<NamedRun> {};

INSTANTIATE_TEST_SUITE_P(Operations, EachStorageControl, testing::ValuesIn(kRuns),
                         [](const auto& run) { return std::string(run.param.name); });

TEST_P(EachStorageControl, AFailedExchangeHasItsLine) {
    for (const Fault& fault : faults()) {
        SCOPED_TRACE(fault.name);
        empty_file();
        std::optional<ScriptedPeer> peer;
        if (fault.script.has_value()) {
            peer.emplace(kStorageDaemonSocket, std::vector<PeerScript>{*fault.script});
        }
        const int code = fault.isSpoilt ? GetParam().spoilt : fault.code;
        EXPECT_EQ(GetParam().run(log, "DATA"), code);
        const std::string line = "[! TIME] " + std::string(GetParam().name) +
                                 ": IPCServRequestEx() rc=" + std::to_string(code) + "\n";
        if (fault.errorText == nullptr) {
            EXPECT_EQ(contents(), line);
        } else {
            EXPECT_EQ(contents(), GetParam().takesName ? "" : marks(1, code));
        }
        EXPECT_EQ(GetParam().run(nullptr, "DATA"), code);
    }
}

TEST_P(EachStorageControl, NothingIsSentWithoutADocument) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer(exclusion_reply(""))});
    {
        const FailingMalloc failing(kRoom);
        EXPECT_EQ(GetParam().run(log, "DATA"), kNoMemory);
    }
    if (GetParam().takesName) {
        EXPECT_EQ(GetParam().run(log, "<DATA"), kInvalid);
        EXPECT_EQ(GetParam().run(log, nullptr), kInvalid);
        if (!GetParam().asks) {
            EXPECT_EQ(GetParam().run(log, "R&D"), kInvalid);
        }
        EXPECT_EQ(GetParam().run(log, std::string(kRoom, 'x').c_str()), kNoMemory);
    }
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(peer.connections(), 0U);
}

using SimulatedControl = OperationTest;

bool is_listed(const LogContext* log, int32_t which, const std::string& name) {
    Listed listed;
    EXPECT_EQ(IPCBKSControlList(collect, &listed, log, which), kOk);
    for (const auto& [volume, kind] : listed) {
        EXPECT_EQ(kind, which);
        if (volume == name) {
            return true;
        }
    }
    return false;
}

TEST_F(SimulatedControl, AVolumeIsTakenOutAndAddedAgain) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    Listed included;
    ASSERT_EQ(IPCBKSControlList(collect, &included, log, kIncludedVolumes), kOk);
    ASSERT_FALSE(included.empty());
    const std::string name = included[0].first;

    EXPECT_EQ(IPCBKSControlAction(log, kRemoveFromControl | kThenDismount, name.c_str()), kOk);
    EXPECT_TRUE(is_listed(log, kExcludedVolumes, name));
    EXPECT_FALSE(is_listed(log, kIncludedVolumes, name));
    EXPECT_EQ(IPCBKSControlAction(log, kRemoveFromControl, name.c_str()), EEXIST);

    EXPECT_EQ(IPCBKSControlAction(log, kAddToControl | kThenMount, name.c_str()), kOk);
    EXPECT_TRUE(is_listed(log, kIncludedVolumes, name));

    StorageMountPoint mountPoint;
    EXPECT_EQ(IPCBKSControlActionGetMountPoint(log, name.c_str(), mountPoint), kOk);
    EXPECT_EQ(mountPoint[0], '/');
    EXPECT_EQ(contents(), "");
}

TEST_F(SimulatedControl, AnUnknownVolumeIsRefused) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    StorageMountPoint mountPoint;
    EXPECT_EQ(IPCBKSControlActionGetMountPoint(log, "NOSUCH", mountPoint), 2);
    EXPECT_EQ(IPCBKSControlAction(log, kAddToControl, "NOSUCH"), 2);
}

} // namespace
} // namespace zrp::storage_control_test
