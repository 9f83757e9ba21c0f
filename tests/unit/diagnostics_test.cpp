// The requests and replies of both daemons' diagnostics.
#include "common/requests/diagnostics.h"

#include <cstring>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::diagnostics_test {
namespace {

using Counters = std::vector<std::pair<std::string, int32_t>>;

std::string text_of(char* text) {
    const HeapText owned(text);
    return owned == nullptr ? "(null)" : owned.get();
}

std::string pid() {
    return std::to_string(getpid());
}

using Scan = int (*)(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                     int32_t* value);

// All counters that a scan delivers, and the code that ended it.
Counters scan(Scan scanReply, const std::string& reply, int* lastCode) {
    const ExactBlock copy(reply);
    Counters counters;
    int cursor = 0;
    DiagnosticName name;
    int32_t value = 0;
    while ((*lastCode = scanReply(copy.begin(), static_cast<int>(reply.size()), &cursor, name,
                                  &value)) == kOk) {
        counters.emplace_back(name, value);
    }
    return counters;
}

std::string server_reply(const std::string& values) {
    return "<zrpConsoleReply><diagnostics>\n <diagLevel>1</diagLevel>" + values +
           "</diagnostics></zrpConsoleReply>";
}

std::string bks_reply(const std::string& values) {
    return "<zrp2bksDiagnosticReply><level>1</level>" + values + "</zrp2bksDiagnosticReply>";
}

const std::string kSample = server_reply("<diagValue value=\"17\">openFiles</diagValue>\n"
                                         "<diagValue value=\"-3\">Event failed</diagValue>");

TEST(DiagnosticsRequest, OfTheMainDaemonAsksForALevel) {
    uint32_t length = 0;
    const std::string text = text_of(BuildDiagnosticsRequest(&length, 1, 0));
    EXPECT_EQ(text, "<zrpConsoleRequest pid=\"" + pid() +
                        "\"><diagnostics>\n<diagLevel>1</diagLevel>\n"
                        "</diagnostics></zrpConsoleRequest>");
    EXPECT_EQ(length, text.size());
}

TEST(DiagnosticsRequest, OfTheStorageDaemonNamesItsTagTwice) {
    uint32_t length = 0;
    const std::string text = text_of(BuildZrp2bksDiagnosticRequest(&length, 3, 0));
    EXPECT_EQ(text, "<zrp2bksDiagnosticRequest pid=\"" + pid() +
                        "\"><zrp2bksDiagnosticRequest>\n<level>3</level>\n"
                        "</zrp2bksDiagnosticRequest></zrp2bksDiagnosticRequest>");
    EXPECT_EQ(length, text.size());
}

TEST(DiagnosticsRequest, AnyResetIsWrittenAsOne) {
    uint32_t length = 0;
    EXPECT_NE(text_of(BuildDiagnosticsRequest(&length, 1, 7))
                  .find("<diagLevel>1</diagLevel><resetAll>1</resetAll>\n</diagnostics>"),
              std::string::npos);
    EXPECT_NE(text_of(BuildZrp2bksDiagnosticRequest(&length, 1, -1))
                  .find("<level>1</level><resetAll>1</resetAll>\n</zrp2bksDiagnosticRequest>"),
              std::string::npos);
}

TEST(DiagnosticsMessage, HoldsThreeWordsTheDocumentAndTwentyZeroBytes) {
    uint32_t length = 0;
    const HeapText message(WrapDiagnosticRequest("<a/>", 4, &length));
    ASSERT_EQ(length, 36U);
    const uint32_t words[] = {24, 1, 5};
    EXPECT_EQ(memcmp(message.get(), words, sizeof words), 0);
    EXPECT_EQ(std::string(message.get() + 12, 24), "<a/>" + std::string(20, '\0'));
}

TEST(DiagnosticsReply, DeliversEachCounterOfTheMainDaemon) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply, kSample, &code),
              (Counters{{"openFiles", 17}, {"Event failed", -3}}));
    EXPECT_EQ(code, kInvalid);
}

TEST(DiagnosticsReply, KeepsTheTrailingBlankOfAStorageDaemonName) {
    int code = kOk;
    EXPECT_EQ(scan(ScanZrp2bksDiagnosticReply,
                   bks_reply("<zrp2bksValue value=\"3\">ipcListener memory request </zrp2bksValue>"
                             "<zrp2bksValue value=\"4\">Request</zrp2bksValue>"),
                   &code),
              (Counters{{"ipcListener memory request ", 3}, {"Request", 4}}));
}

TEST(DiagnosticsReply, EachDaemonHasAScannerOfItsOwn) {
    const std::string bksText = bks_reply("<zrp2bksValue value=\"4\">Request</zrp2bksValue>");
    const ExactBlock server(kSample);
    const ExactBlock bks(bksText);
    const int serverLength = static_cast<int>(kSample.size());
    const int bksLength = static_cast<int>(bksText.size());
    DiagnosticName name;
    int32_t value = 0;
    int cursor = 0;
    EXPECT_EQ(ScanDiagnosticsReply(server.begin(), serverLength, &cursor, name, &value), kOk);
    EXPECT_STREQ(name, "openFiles");
    cursor = 0;
    EXPECT_EQ(ScanZrp2bksDiagnosticReply(bks.begin(), bksLength, &cursor, name, &value), kOk);
    EXPECT_STREQ(name, "Request");
    cursor = 0;
    EXPECT_EQ(ScanZrp2bksDiagnosticReply(server.begin(), serverLength, &cursor, name, &value),
              kInvalid);
}

TEST(DiagnosticsReply, AValueAboveTheLargestIntWrapsToANegativeOne) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply,
                   server_reply("<diagValue value=\"2147483647\">a</diagValue>"
                                "<diagValue value=\"2147483648\">b</diagValue>"
                                "<diagValue value=\"4294967295\">c</diagValue>"),
                   &code),
              (Counters{{"a", 2147483647}, {"b", -2147483647 - 1}, {"c", -1}}));
}

TEST(DiagnosticsReply, AValueThatIsNoNumberIsZero) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply,
                   server_reply("<diagValue value=\"\">a</diagValue>"
                                "<diagValue value=\"many\">b</diagValue>"
                                "<diagValue value=\"12x\">c</diagValue>"),
                   &code),
              (Counters{{"a", 0}, {"b", 0}, {"c", 12}}));
}

TEST(DiagnosticsReply, ACounterWithoutAValueEndsTheScan) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply,
                   server_reply("<diagValue value=\"1\">a</diagValue><diagValue>b</diagValue>"
                                "<diagValue value=\"3\">c</diagValue>"),
                   &code),
              (Counters{{"a", 1}}));
    EXPECT_EQ(code, kInvalid);
}

TEST(DiagnosticsReply, AValueIsLookedForInTheOpeningTagOnly) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply, server_reply("<diagValue>value=\"5\"</diagValue>"), &code),
              Counters{});
}

TEST(DiagnosticsReply, ASelfClosingCounterHasAnEmptyName) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply, server_reply("<diagValue value=\"5\"/>"), &code),
              (Counters{{"", 5}}));
}

TEST(DiagnosticsReply, ALongNameIsCutToItsArray) {
    int code = kOk;
    EXPECT_EQ(scan(ScanDiagnosticsReply,
                   server_reply("<diagValue value=\"1\">" + std::string(71, 'a') +
                                "</diagValue><diagValue value=\"2\">" + std::string(500, 'b') +
                                "</diagValue>"),
                   &code),
              (Counters{{std::string(71, 'a'), 1}, {std::string(71, 'b'), 2}}));
}

TEST(DiagnosticsReply, WithoutItsLevelHoldsNoCounter) {
    for (const char* text : {"<zrpConsoleReply><diagnostics></diagnostics></zrpConsoleReply>",
                             "<zrpConsoleReply><result value=\"5\"/></zrpConsoleReply>",
                             "<diagnostics><diagLevel>1</diagLevel></diagnostics>", "x"}) {
        int code = kOk;
        EXPECT_EQ(scan(ScanDiagnosticsReply, text, &code), Counters{}) << text;
        EXPECT_EQ(code, kInvalid) << text;
    }
}

struct CursorCase {
    int length;
    int cursor;
    int code;
};

TEST(DiagnosticsReply, TellsAnEmptyReplyFromAFinishedOne) {
    const int size = static_cast<int>(kSample.size());
    const CursorCase cases[] = {{0, 0, kInvalid},         {-1, 0, kInvalid},
                                {size, size, kRange},     {size, -5, kRange},
                                {size, size + 1, kRange}, {size, size - 1, kInvalid}};
    for (const CursorCase& c : cases) {
        const ExactBlock copy(kSample);
        int cursor = c.cursor;
        DiagnosticName name;
        int32_t value = 0;
        EXPECT_EQ(ScanDiagnosticsReply(copy.begin(), c.length, &cursor, name, &value), c.code)
            << c.length << ' ' << c.cursor;
    }
}

TEST(DiagnosticsReply, EveryTruncatedPrefixIsReadWithinItsBlock) {
    const std::pair<Scan, std::string> samples[] = {
        {ScanDiagnosticsReply, kSample},
        {ScanDiagnosticsReply, server_reply("<diagValue value=\"5\"/><![CDATA[<diagValue>]]>")},
        {ScanZrp2bksDiagnosticReply,
         bks_reply("<zrp2bksValue value=\"3\"><![CDATA[a]]></zrp2bksValue>")}};
    for (const auto& [scanReply, text] : samples) {
        size_t counters = 0;
        scan_every_prefix(text, [&, scanReply = scanReply](char* reply, int length) {
            int cursor = 0;
            DiagnosticName name;
            int32_t value = 0;
            while (scanReply(reply, length, &cursor, name, &value) == kOk) {
                counters++;
            }
        });
        EXPECT_GT(counters, 0U);
    }
}

} // namespace
} // namespace zrp::diagnostics_test
