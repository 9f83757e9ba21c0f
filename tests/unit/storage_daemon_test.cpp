#include "common/requests/storage_daemon.h"

#include <string>

#include "common/engine/command.h"
#include "common/heap_text.h"
#include "common/requests/diagnostics.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::storage_daemon_test {
namespace {

constexpr size_t kRoom = 8192;

std::string parms_request(const std::string& content) {
    return "<zrp2bksDiagnosticRequest pid=\"PID\"><zrp2bksDiagnosticRequest>\n" + content +
           "\n</zrp2bksDiagnosticRequest></zrp2bksDiagnosticRequest>";
}

std::string build_parms(const char* words, int resetAll = 0) {
    uint32_t length = 0;
    return built(BuildZrp2bksParmsRequest(1, resetAll, words, &length), length);
}

TEST(BuildZrp2bksParmsRequest, NumbersTheWordsFromZero) {
    EXPECT_EQ(build_parms("KVQ quota"),
              parms_request("<level>1</level><parms><parm0>KVQ</parm>\n<parm1>quota</parm>\n"
                            "</parms>"));
    EXPECT_EQ(build_parms("x", 5), parms_request("<level>1</level><resetAll>1</resetAll><parms>"
                                                 "<parm0>x</parm>\n</parms>"));
}

TEST(BuildZrp2bksParmsRequest, WithoutAWordThereAreNoParms) {
    for (const char* words : {static_cast<const char*>(nullptr), "", " ,;\n"}) {
        EXPECT_EQ(build_parms(words), parms_request("<level>1</level>"));
    }
}

TEST(BuildZrp2bksParmsRequest, AnySeparatorEndsAWord) {
    EXPECT_EQ(build_parms(" a,b;c\td\n e,;f "),
              parms_request("<level>1</level><parms><parm0>a</parm>\n<parm1>b</parm>\n"
                            "<parm2>c</parm>\n<parm3>d</parm>\n<parm4>e</parm>\n<parm5>f</parm>\n"
                            "</parms>"));
}

TEST(BuildZrp2bksParmsRequest, TenWordsAreTakenAndElevenAreNot) {
    EXPECT_NE(build_parms("0 1 2 3 4 5 6 7 8 9").find("<parm9>9</parm>"), std::string::npos);
    EXPECT_EQ(build_parms("0 1 2 3 4 5 6 7 8 9 10"), "(null)");
    EXPECT_EQ(errno, EINVAL);
}

TEST(BuildZrp2bksParmsRequest, HostileAndLongWords) {
    EXPECT_EQ(build_parms("a <b"), "(null)");
    EXPECT_EQ(errno, EINVAL);
    const std::string longest(7900, 'w');
    EXPECT_NE(build_parms(longest.c_str()), "(null)");
    for (const size_t size : {8100U, 8192U, 20000U}) {
        EXPECT_EQ(build_parms(std::string(size, 'w').c_str()), "(null)");
        EXPECT_EQ(errno, ENOMEM);
    }
    const FailingMalloc failing(kRoom);
    EXPECT_EQ(build_parms("a"), "(null)");
}

int scan(const std::string& text, DiagnosticChoice* record) {
    const ExactBlock copy(text);
    return ScanZrp2bksParmsReply(copy.begin(), static_cast<int>(text.size()), record);
}

std::string parms_reply(const std::string& content) {
    return "<zrp2bksDiagnosticReply>" + content + "</zrp2bksDiagnosticReply>";
}

TEST(ScanZrp2bksParmsReply, ReadsWhatTheDaemonUnderstood) {
    DiagnosticChoice record = {};
    EXPECT_EQ(scan(parms_reply("<level>1</level><resetAll>1</resetAll><parms><parm>KVQ</parm>\n"
                               "<parm/><parm>" +
                               std::string(300, 'w') + "</parm></parms>"),
                   &record),
              kOk);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.resetAll, 1);
    EXPECT_EQ(record.wordCount, 3);
    EXPECT_STREQ(record.words[0], "KVQ");
    EXPECT_STREQ(record.words[1], "");
    EXPECT_EQ(record.words[2], std::string(kDiagnosticWordSize - 1, 'w'));

    EXPECT_EQ(scan(parms_reply("<level>2</level><parms/>"), &record), kOk);
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(record.resetAll, 0);
    EXPECT_EQ(record.wordCount, 0);
}

TEST(ScanZrp2bksParmsReply, AMalformedReplyLeavesTheRecord) {
    std::string eleven;
    for (int i = 0; i <= kMaxDiagnosticWords; i++) {
        eleven += "<parm>w</parm>";
    }
    DiagnosticChoice record = {};
    record.level = 77;
    for (const std::string& text : {std::string(), parms_reply(""), std::string("<level>1</level>"),
                                    parms_reply("<level>1</level><parms>" + eleven + "</parms>")}) {
        EXPECT_EQ(scan(text, &record), kInvalid);
    }
    EXPECT_EQ(ScanZrp2bksParmsReply(nullptr, 0, &record), kInvalid);
    EXPECT_EQ(record.level, 77);
}

TEST(ScanZrp2bksParmsReply, EveryPrefixIsReadInItsBounds) {
    const std::string text = parms_reply("<level>1</level><parms><parm>a</parm></parms>");
    scan_every_prefix(text, [&](char* reply, int length) {
        DiagnosticChoice record = {};
        EXPECT_EQ(ScanZrp2bksParmsReply(reply, length, &record),
                  static_cast<size_t>(length) < text.size() ? kInvalid : kOk);
    });
}

TEST(BuildChangeLoggingLevelRequest, NamesTheLevel) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildChangeLoggingLevelRequest("DEBUG", &length), length),
              "<zrp2bks_request pid=\"PID\"><change_logging_level>\n<options>DEBUG</options>\n"
              "</change_logging_level></zrp2bks_request>");
    const std::string longest(100000, 'x');
    EXPECT_NE(built(BuildChangeLoggingLevelRequest(longest.c_str(), &length), length), "(null)");
    EXPECT_EQ(BuildChangeLoggingLevelRequest("<", &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(BuildChangeLoggingLevelRequest(nullptr, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    const FailingMalloc failing(strlen("DEBUG") + 255);
    EXPECT_EQ(BuildChangeLoggingLevelRequest("DEBUG", &length), nullptr);
}

using SimulatedStorageDaemon = OperationTest;

TEST_F(SimulatedStorageDaemon, TellsTheCountersOfAWord) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    const HeapText document(BuildZrp2bksParmsRequest(1, 0, "quota,Purge", &length));
    HeapText message(WrapDiagnosticRequest(document.get(), length, &length));
    Reply answer;
    ASSERT_EQ(send_query({.peer = kStorageDiagnostics}, std::move(message), length, &answer), kOk);
    DiagnosticChoice choice = {};
    EXPECT_EQ(ScanZrp2bksParmsReply(answer.text.get(), answer.length, &choice), kOk);
    EXPECT_EQ(choice.wordCount, 2);
    EXPECT_STREQ(choice.words[1], "Purge");
    int cursor = 0;
    int count = 0;
    DiagnosticName name;
    int32_t value = 0;
    while (ScanZrp2bksDiagnosticReply(answer.text.get(), answer.length, &cursor, name, &value) ==
           kOk) {
        EXPECT_TRUE(strstr(name, "quota") != nullptr || strstr(name, "Purge") != nullptr) << name;
        count++;
    }
    EXPECT_GT(count, 0);
}

TEST_F(SimulatedStorageDaemon, ChangesItsLogLevelOrRefuses) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    HeapText request(BuildChangeLoggingLevelRequest("LevelDebug", &length));
    Reply answer;
    EXPECT_EQ(send_query({.peer = kStorageDaemon}, std::move(request), length, &answer), kOk);
    request.reset(BuildChangeLoggingLevelRequest("LOUD", &length));
    ErrorText errorText;
    EXPECT_EQ(send_query({.peer = kStorageDaemon, .errorText = &errorText}, std::move(request),
                         length, &answer),
              22);
    EXPECT_STREQ(errorText, "22 no such log level: LOUD");
}

} // namespace
} // namespace zrp::storage_daemon_test
