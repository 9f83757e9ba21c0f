// The records of the server: counters, configuration, connection slots. Their scanners share one
// walk.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "common/engine/command.h"
#include "common/heap_text.h"
#include "common/requests/connections.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::server_records_test {
namespace {

std::string field(const std::string& name, const std::string& value) {
    return "<" + name + ">" + value + "</" + name + ">";
}

// One kind of record.
struct RecordKind {
    const char* name;
    const char* command;
    std::vector<std::string> needed;
    std::vector<std::string> further;
    // Scans into a record whose bytes are all 0x55, or into a null one, and hands back its bytes.
    std::function<int(char* reply, int length, std::string* bytes)> scan;
    std::function<int(char* reply, int length)> scanIntoNull;
};

template <typename Record>
RecordKind kind(const char* name, const char* command, std::vector<std::string> needed,
                std::vector<std::string> further, int (*scan)(char*, int, Record*)) {
    return {name,
            command,
            std::move(needed),
            std::move(further),
            [scan](char* reply, int length, std::string* bytes) {
                Record record;
                memset(&record, 0x55, sizeof record);
                const int rc = scan(reply, length, &record);
                bytes->assign(reinterpret_cast<const char*>(&record), sizeof record);
                return rc;
            },
            [scan](char* reply, int length) { return scan(reply, length, nullptr); }};
}

const RecordKind kKinds[] = {
    kind("Counters", "serverStatistics",
         {"packetsAccepted", "packetsDumped", "zrpRequests", "zrpDuplicateReplies", "bytesRead",
          "bytesWritten", "serverUpTime", "logAllowed"},
         {"connectionSlotsInUse", "peakConnectionSlots", "maximumConnectionSlots",
          "notLoggedInCount", "licensedConnectionCount", "numberOfOpenFiles", "fileLockCount",
          "numberOfMountedVolumes", "volumeCount"},
         ScanServerCountersReply),
    kind("Config", "serverConfig",
         {"zrpServerName", "zrpServerProductVersion", "zrpServerFileServerVersion",
          "zrpServerVersion", "zrpAllowUncryptedPasswords", "zrpMixedModePath", "zrpOSLanguageID"},
         {"zrpBoundaryCheck", "zrpFileCommit", "zrpLocalLoginInfo", "signingLevel",
          "maximumConnectionSlots"},
         ScanServerConfigReply),
    kind("Connections", "serverConnInfo",
         {"versionTag", "connectionSlotsAvailable", "connectionSlotsInUse",
          "licensedConnectionCount", "peakLicenseCount", "notLoggedInCount", "signingLevel",
          "loginState"},
         {}, ScanServerConnInfoReply),
};

class ServerRecord : public testing::TestWithParam<RecordKind> {
protected:
    // Every element holds 1, but the one of that name holds another value, or is left out when it
    // has none.
    static std::string reply_with(const std::string& other, const std::string& value) {
        std::string content;
        for (const auto* names : {&GetParam().needed, &GetParam().further}) {
            for (const std::string& name : *names) {
                if (name != other) {
                    content += field(name, "1");
                } else if (!value.empty()) {
                    content += field(name, value);
                }
            }
        }
        return "\n<zrpConsoleReply>" + field(GetParam().command, content) + "</zrpConsoleReply>";
    }

    static std::string reply_without(const std::string& left) {
        return reply_with(left, "");
    }

    static int scan(const std::string& text, std::string* bytes) {
        const ExactBlock copy(text);
        return GetParam().scan(copy.begin(), static_cast<int>(text.size()), bytes);
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, ServerRecord, testing::ValuesIn(kKinds),
                         [](const auto& record) { return std::string(record.param.name); });

TEST_P(ServerRecord, EveryElementHasAMemberOfItsOwn) {
    std::string ones;
    EXPECT_EQ(scan(reply_with("", ""), &ones), kOk);
    std::vector<bool> taken(ones.size(), false);
    for (const auto* names : {&GetParam().needed, &GetParam().further}) {
        for (const std::string& name : *names) {
            std::string bytes;
            EXPECT_EQ(scan(reply_with(name, "2"), &bytes), kOk) << name;
            size_t changed = 0;
            for (size_t i = 0; i < ones.size(); i++) {
                if (bytes[i] != ones[i]) {
                    EXPECT_FALSE(taken[i]) << name;
                    taken[i] = true;
                    changed++;
                }
            }
            EXPECT_EQ(changed, 1U) << name;
        }
    }
}

TEST_P(ServerRecord, AFurtherElementThatIsNotSentLeavesItsMember) {
    std::string ones;
    EXPECT_EQ(scan(reply_with("", ""), &ones), kOk);
    for (const std::string& name : GetParam().further) {
        std::string bytes;
        EXPECT_EQ(scan(reply_without(name), &bytes), kOk) << name;
        EXPECT_NE(bytes, ones) << name;
    }
}

TEST_P(ServerRecord, WithoutANeededElementTheRecordStaysAsItWas) {
    for (const std::string& name : GetParam().needed) {
        std::string bytes;
        EXPECT_EQ(scan(reply_without(name), &bytes), kInvalid) << name;
        EXPECT_EQ(bytes, std::string(bytes.size(), '\x55'));
    }
}

TEST_P(ServerRecord, EveryPrefixIsReadInItsBounds) {
    const std::string text = reply_with("", "");
    scan_every_prefix(text, [&](char* reply, int length) {
        std::string bytes;
        EXPECT_EQ(GetParam().scan(reply, length, &bytes),
                  static_cast<size_t>(length) < text.size() ? kInvalid : kOk);
    });
}

TEST_P(ServerRecord, OtherRepliesAndNoRecordAreRefused) {
    std::string bytes;
    for (const char* text :
         {"", "<zrpConsoleReply/>", "<zrpConsoleReply><other></other></zrpConsoleReply>"}) {
        EXPECT_EQ(scan(text, &bytes), kInvalid);
    }
    EXPECT_EQ(GetParam().scan(nullptr, 0, &bytes), kInvalid);
    const std::string text = reply_with("", "");
    const ExactBlock copy(text);
    EXPECT_EQ(GetParam().scan(copy.begin(), -1, &bytes), kInvalid);
    EXPECT_EQ(GetParam().scanIntoNull(copy.begin(), static_cast<int>(text.size())), kInvalid);
}

TEST(ServerCounters, AreRead) {
    std::string text = "<zrpConsoleReply><serverStatistics><parm><name>bytesRead</name>"
                       "<value type=\"unsignedLong\">1</value></parm>"
                       "<packetsAccepted>18446744073709551615</packetsAccepted>"
                       "<packetsDumped>2</packetsDumped><zrpRequests>3</zrpRequests>"
                       "<zrpDuplicateReplies>4</zrpDuplicateReplies><bytesRead>0x10</bytesRead>"
                       "<bytesWritten>6</bytesWritten><serverUpTime>7</serverUpTime>"
                       "<logAllowed>1</logAllowed><volumeCount>30</volumeCount>"
                       "</serverStatistics></zrpConsoleReply>";
    ServerCounters record = {};
    EXPECT_EQ(ScanServerCountersReply(text.data(), static_cast<int>(text.size()), &record), kOk);
    EXPECT_EQ(record.packetsAccepted, UINT64_MAX);
    EXPECT_EQ(record.bytesRead, 16U);
    EXPECT_EQ(record.serverUpTime, 7U);
    EXPECT_EQ(record.logAllowed, 1U);
    EXPECT_EQ(record.volumeCount, 30U);
    EXPECT_EQ(record.fileLockCount, 0U);
}

TEST(ServerConfig, ALongTextIsCut) {
    std::string text = "<zrpConsoleReply><serverConfig>" +
                       field("zrpServerName", std::string(300, 'n')) +
                       field("zrpServerProductVersion", "11") +
                       field("zrpServerFileServerVersion", "") + "<zrpServerVersion/>" +
                       field("zrpAllowUncryptedPasswords", "1") + field("zrpMixedModePath", "0") +
                       field("zrpOSLanguageID", "4") + "</serverConfig></zrpConsoleReply>";
    ServerConfig record = {};
    const int length = static_cast<int>(text.size());
    EXPECT_EQ(ScanServerConfigReply(text.data(), length, &record), kInvalid);
    text.replace(text.find("<zrpServerVersion/>"), strlen("<zrpServerVersion/>"),
                 field("zrpServerVersion", "5"));
    EXPECT_EQ(ScanServerConfigReply(text.data(), static_cast<int>(text.size()), &record), kOk);
    EXPECT_EQ(record.zrpServerName, std::string(255, 'n'));
    EXPECT_STREQ(record.zrpServerFileServerVersion, "");
    EXPECT_STREQ(record.zrpServerVersion, "5");
    EXPECT_EQ(record.zrpOSLanguageID, 4U);
}

TEST(BuildServerConfigRequest, ReadsWithAVersionAlone) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildServerConfigRequest(kReadServerConfig, 1, nullptr, "<", &length), length),
              "<zrpConsoleRequest pid=\"PID\"><serverConfig>\n<versionTag>1</versionTag>\n"
              "</serverConfig></zrpConsoleRequest>");
    const FailingMalloc failing(256);
    EXPECT_EQ(BuildServerConfigRequest(kReadServerConfig, 1, nullptr, nullptr, &length), nullptr);
}

TEST(BuildServerConfigRequest, SetsOneSetting) {
    uint32_t length = 0;
    EXPECT_EQ(
        built(BuildServerConfigRequest(kSetServerConfig, 1, "zrpFileCommit", "0", &length), length),
        "<zrpConsoleRequest pid=\"PID\"><serverConfig>\n<versionTag>1</versionTag>"
        "<name>zrpFileCommit</name><set>0</set>\n</serverConfig></zrpConsoleRequest>");
    const std::string longest(4096, 'x');
    EXPECT_NE(built(BuildServerConfigRequest(kSetServerConfig, 1, longest.c_str(), longest.c_str(),
                                             &length),
                    length),
              "(null)");
    const std::string tooLong(8448, 'x');
    EXPECT_EQ(BuildServerConfigRequest(kSetServerConfig, 1, "n", tooLong.c_str(), &length),
              nullptr);
    EXPECT_EQ(errno, ENOMEM);
    for (const char* text : {"<", "\x01", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(BuildServerConfigRequest(kSetServerConfig, 1, "n", text, &length), nullptr);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(BuildServerConfigRequest(kSetServerConfig, 1, text, "v", &length), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
    const FailingMalloc failing(8448);
    EXPECT_EQ(BuildServerConfigRequest(kSetServerConfig, 1, "n", "v", &length), nullptr);
}

TEST(BuildServerConnInfoRequest, HasNoChildren) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildServerConnInfoRequest(&length), length),
              "<zrpConsoleRequest pid=\"PID\"><serverConnInfo/></zrpConsoleRequest>");
}

using ServerConnections = OperationTest;

TEST_F(ServerConnections, EachFaultHasItsCodeAndItsLine) {
    expect_faults(kMainDaemonSocket, [](ErrorText* errorText, LogContext* to) {
        ServerConnInfo record = {};
        return GetServerConnInfo(&record, errorText, to);
    });
}

TEST_F(ServerConnections, WithoutMemoryTheLogSaysSo) {
    const FailingMalloc failing(256);
    ServerConnInfo record = {};
    EXPECT_EQ(GetServerConnInfo(&record, nullptr, log), kNoMemory);
    EXPECT_EQ(contents(), "[! TIME] failed to allocate request buffer ENOMEM\n");
}

TEST_F(ServerConnections, AReplyThatLacksAnElementIsRefused) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply("<zrpConsoleReply><serverConnInfo>"
                                                         "</serverConnInfo></zrpConsoleReply>"))}});
    ServerConnInfo record = {};
    EXPECT_EQ(GetServerConnInfo(&record, nullptr, log), kInvalid);
    EXPECT_EQ(document_of(peer.requests().at(0)),
              "<zrpConsoleRequest pid=\"PID\"><serverConnInfo/></zrpConsoleRequest>");
}

// What the simulated server answers to a document of the library.
class SimulatedRecords : public OperationTest {
protected:
    int ask(char* document, uint32_t length, Reply* answer, ErrorText* errorText = nullptr) {
        return send_document(HeapText(document), length, {errorText, log}, answer);
    }

    SimulatedServer server{{"--clock", "1000"}};
};

TEST_F(SimulatedRecords, ConnectionSlotsAgreeWithTheCounters) {
    ASSERT_TRUE(server.ready());
    ServerConnInfo slots = {};
    ErrorText errorText;
    EXPECT_EQ(GetServerConnInfo(&slots, &errorText, log), kOk);
    EXPECT_EQ(slots.connectionSlotsInUse, 50U);
    EXPECT_EQ(slots.loginState, 1U);

    uint32_t length = 0;
    char* document = BuildServerStatisticsRequest(kServerStatisticsVersion, &length);
    Reply answer;
    ASSERT_EQ(ask(document, length, &answer), kOk);
    ServerCounters counters = {};
    EXPECT_EQ(ScanServerCountersReply(answer.text.get(), answer.length, &counters), kOk);
    EXPECT_EQ(counters.serverUpTime, 1000U);
    EXPECT_EQ(counters.connectionSlotsInUse, slots.connectionSlotsInUse);
    EXPECT_EQ(counters.notLoggedInCount, slots.notLoggedInCount);
    EXPECT_EQ(counters.volumeCount, 30U);
    EXPECT_GT(counters.bytesRead, 0U);
}

TEST_F(SimulatedRecords, ASettingThatIsChangedIsRead) {
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    char* document = BuildServerConfigRequest(kSetServerConfig, kServerConfigVersion,
                                              "zrpMixedModePath", "1", &length);
    Reply answer;
    ASSERT_EQ(ask(document, length, &answer), kOk);
    ServerConfig config = {};
    EXPECT_EQ(ScanServerConfigReply(answer.text.get(), answer.length, &config), kOk);
    EXPECT_EQ(config.zrpMixedModePath, 1U);

    document = BuildServerConfigRequest(kReadServerConfig, kServerConfigVersion, nullptr, nullptr,
                                        &length);
    ASSERT_EQ(ask(document, length, &answer), kOk);
    config = {};
    EXPECT_EQ(ScanServerConfigReply(answer.text.get(), answer.length, &config), kOk);
    EXPECT_EQ(config.zrpMixedModePath, 1U);
    EXPECT_STREQ(config.zrpServerName, "HLX1");
    EXPECT_EQ(config.maximumConnectionSlots, 32767U);
}

TEST_F(SimulatedRecords, ASettingThatIsFixedIsRefusedWithAReason) {
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    char* document = BuildServerConfigRequest(kSetServerConfig, kServerConfigVersion,
                                              "zrpServerVersion", "1", &length);
    Reply answer;
    ErrorText errorText;
    EXPECT_EQ(ask(document, length, &answer, &errorText), 13);
    EXPECT_STREQ(errorText, "13 zrpServerVersion cannot be set");
}

} // namespace
} // namespace zrp::server_records_test
