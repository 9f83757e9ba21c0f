#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/requests/connections.h"
#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::connection_list_test {
namespace {

std::string request(int startIndex, int maxItems) {
    uint32_t length = 0;
    const HeapText built(BuildListConnectionsRequest(startIndex, maxItems, &length));
    EXPECT_EQ(strlen(built.get()), length);
    return built.get();
}

std::string document(const std::string& children) {
    return "<zrpConsoleRequest pid=\"" + std::to_string(getpid()) + "\"><listConnections>\n" +
           children + "\n</listConnections></zrpConsoleRequest>";
}

TEST(BuildListConnectionsRequest, WritesOnlyWhatIsNotZero) {
    EXPECT_EQ(request(0, 10), document("<maxItems>10</maxItems>"));
    EXPECT_EQ(request(42, 10), document("<startIndex>42</startIndex><maxItems>10</maxItems>"));
    EXPECT_EQ(request(-7, 0), document("<startIndex>-7</startIndex>"));
    EXPECT_EQ(request(0, 0), document(""));
}

struct Child {
    const char* tag;
    const char* text;
};

constexpr Child kChildren[] = {
    {"stationNumberTag", "41"}, {"zrpRequests", "0x10"}, {"bytesRead", "18446744073709551615"},
    {"bytesWritten", "017"},    {"name", "admin.acme"},  {"loginTime", "2026-04-22 08:00:00"},
    {"licensedState", "Yes"},   {"encrypted", "No"},     {"mfa", "Disabled"},
};

std::string element(const std::string& tag, const std::string& text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

// An entry, with the text of one element replaced.
std::string entry(const std::string& tag = "", const std::string& text = "") {
    std::string children;
    for (const Child& child : kChildren) {
        children += element(child.tag, child.tag == tag ? text : child.text);
    }
    return element("connectionTag", children);
}

std::string list_reply(const std::string& entries) {
    return "<zrpConsoleReply><listConnections><startIndex>51</startIndex>" + entries +
           "</listConnections></zrpConsoleReply>";
}

int scan_first(const std::string& text, ConnectionEntry* read) {
    const ExactBlock copy(text);
    int offset = 0;
    return ScanListConnectionsReply(copy.begin(), static_cast<int>(text.size()), &offset, read);
}

TEST(ScanListConnectionsReply, ReadsEveryMember) {
    ConnectionEntry read = {};
    ASSERT_EQ(scan_first(list_reply(entry()), &read), kOk);
    EXPECT_EQ(read.stationNumber, 41);
    EXPECT_EQ(read.zrpRequests, 16U);
    EXPECT_EQ(read.bytesRead, UINT64_MAX);
    EXPECT_EQ(read.bytesWritten, 15U);
    EXPECT_STREQ(read.name, "admin.acme");
    EXPECT_STREQ(read.loginTime, "2026-04-22 08:00:00");
    EXPECT_STREQ(read.licensedState, "Yes");
    EXPECT_STREQ(read.encrypted, "No");
    EXPECT_STREQ(read.mfa, "Disabled");
}

TEST(ScanListConnectionsReply, GivesOneEntryForEachCall) {
    const std::string text = list_reply(entry("stationNumberTag", "5") + "\n" +
                                        entry("stationNumberTag", "-6") + entry());
    const ExactBlock copy(text);
    std::vector<int> stations;
    ConnectionEntry read = {};
    int offset = 0;
    int rc = 0;
    while ((rc = ScanListConnectionsReply(copy.begin(), static_cast<int>(text.size()), &offset,
                                          &read)) == kOk) {
        stations.push_back(read.stationNumber);
    }
    EXPECT_EQ(stations, (std::vector<int>{5, -6, 41}));
    EXPECT_EQ(rc, kInvalid);
}

TEST(ScanListConnectionsReply, AnyMissingElementIsInvalidAndLeavesTheEntryAlone) {
    for (const Child& child : kChildren) {
        std::string text = list_reply(entry());
        const std::string gone = element(child.tag, child.text);
        text.replace(text.find(gone), gone.size(), "");
        ConnectionEntry read = {};
        read.stationNumber = 7;
        EXPECT_EQ(scan_first(text, &read), kInvalid) << child.tag;
        EXPECT_EQ(read.stationNumber, 7) << child.tag;
    }
    for (const char* text : {"", "<zrpConsoleReply/>", "<listConnections></listConnections>",
                             "<zrpConsoleReply><listConnections/></zrpConsoleReply>",
                             "<zrpConsoleReply><listConnections><connectionTag/>"
                             "</listConnections></zrpConsoleReply>"}) {
        ConnectionEntry read = {};
        EXPECT_EQ(scan_first(text, &read), kInvalid) << text;
    }
}

TEST(ScanListConnectionsReply, AnOffsetAtTheEndIsOutOfRange) {
    const std::string text = list_reply(entry());
    const ExactBlock copy(text);
    const int length = static_cast<int>(text.size());
    ConnectionEntry read = {};
    int offset = length;
    EXPECT_EQ(ScanListConnectionsReply(copy.begin(), length, &offset, &read), kRange);
}

struct Cut {
    const char* tag;
    size_t kept;
    std::string (*text)(const ConnectionEntry& entry);
};

constexpr Cut kCuts[] = {
    {"name", 513, [](const ConnectionEntry& entry) { return std::string(entry.name); }},
    {"loginTime", 127, [](const ConnectionEntry& entry) { return std::string(entry.loginTime); }},
    {"licensedState", 4,
     [](const ConnectionEntry& entry) { return std::string(entry.licensedState); }},
    {"encrypted", 4, [](const ConnectionEntry& entry) { return std::string(entry.encrypted); }},
    {"mfa", 11, [](const ConnectionEntry& entry) { return std::string(entry.mfa); }},
};

TEST(ScanListConnectionsReply, OverlongTextsAreCutToTheirMembers) {
    for (const Cut& cut : kCuts) {
        ConnectionEntry read = {};
        ASSERT_EQ(scan_first(list_reply(entry(cut.tag, std::string(5000, 'x'))), &read), kOk);
        EXPECT_EQ(cut.text(read), std::string(cut.kept, 'x')) << cut.tag;
        EXPECT_EQ(read.stationNumber, 41) << cut.tag;
    }
}

TEST(ScanListConnectionsReply, ACutDoesNotSplitACharacter) {
    for (const Cut& cut : kCuts) {
        const std::string whole(cut.kept - 1, 'x');
        ConnectionEntry read = {};
        ASSERT_EQ(scan_first(list_reply(entry(cut.tag, whole + "\u00fc\u00fc")), &read), kOk);
        EXPECT_EQ(cut.text(read), whole) << cut.tag;
    }
}

TEST(ScanListConnectionsReply, ReadsNothingBehindATruncatedReply) {
    const std::string text = list_reply(entry() + entry("name", "<![CDATA[<a>]]>"));
    scan_every_prefix(text, [&](char* reply, int length) {
        ConnectionEntry read = {};
        int offset = 0;
        int count = 0;
        while (ScanListConnectionsReply(reply, length, &offset, &read) == kOk) {
            count++;
        }
        // An offset of 0 asks for the whole list, which a truncated reply does not close.
        ASSERT_EQ(count, static_cast<size_t>(length) == text.size() ? 2 : 0);
    });
}

} // namespace
} // namespace zrp::connection_list_test
