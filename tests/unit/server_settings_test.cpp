#include "common/requests/server_settings.h"

#include <cerrno>
#include <memory>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::server_settings_test {
namespace {

// The document between its head and its trailer, or "null".
std::string request(const char* name, const char* value) {
    uint32_t length = 0;
    const HeapText built(BuildSetRequest(&length, 1, 1, name, value));
    if (built == nullptr) {
        return "null";
    }
    const std::string text(built.get());
    EXPECT_EQ(text.size(), length);
    const std::string head = "<zrpConsoleRequest pid=\"" + std::to_string(getpid()) + "\"><set>\n";
    const std::string trailer = "\n</set></zrpConsoleRequest>";
    if (!text.starts_with(head) || !text.ends_with(trailer)) {
        return text;
    }
    return text.substr(head.size(), text.size() - head.size() - trailer.size());
}

const std::string kVersion = "<versionTag>1</versionTag><attributes>1</attributes>";

TEST(BuildSetRequest, WithoutNameAndValueItBrowses) {
    EXPECT_EQ(request(nullptr, nullptr), kVersion + "<browse>1</browse>");
}

TEST(BuildSetRequest, WithANameItAsksForItsValue) {
    EXPECT_EQ(request("LOG_LEVEL", nullptr), kVersion + "<name>LOG_LEVEL</name>");
    EXPECT_EQ(request("LOG_LEVEL", ""), kVersion + "<name>LOG_LEVEL</name>");
}

TEST(BuildSetRequest, WithNameAndValueItSetsTheValue) {
    EXPECT_EQ(request("LOG_LEVEL", "DEBUG"),
              kVersion + "<name>LOG_LEVEL</name><string>DEBUG</string>");
}

TEST(BuildSetRequest, AValueWithoutANameIsRefused) {
    errno = 0;
    EXPECT_EQ(request(nullptr, "DEBUG"), "null");
    EXPECT_EQ(errno, EINVAL);
}

TEST(BuildSetRequest, TheRoomGrowsWithTheValueOnly) {
    const std::string value(5000, 'v');
    EXPECT_EQ(request("N", value.c_str()),
              kVersion + "<name>N</name><string>" + value + "</string>");
    EXPECT_EQ(request(std::string(1024, 'n').c_str(), nullptr), "null");
}

// Texts of a reply until the scan ends, and the code that ended it.
struct Scan {
    std::vector<std::string> texts;
    int rc = 0;
};

enum class Buffers { kName, kValue, kBoth, kNone };

Scan scan_all(const std::string& text, Buffers buffers) {
    const ExactBlock copy(text);
    const auto name = std::make_unique<SettingText[]>(1);
    const auto value = std::make_unique<SettingText[]>(1);
    const bool withName = buffers == Buffers::kName || buffers == Buffers::kBoth;
    const bool withValue = buffers == Buffers::kValue || buffers == Buffers::kBoth;
    Scan scan;
    int offset = 0;
    while ((scan.rc = ScanSetReply(copy.begin(), static_cast<int>(text.size()), &offset,
                                   withName ? &name[0] : nullptr,
                                   withValue ? &value[0] : nullptr)) == kOk) {
        scan.texts.push_back(std::string(withName ? name[0] : "") +
                             (buffers == Buffers::kBoth ? "=" : "") + (withValue ? value[0] : ""));
    }
    return scan;
}

std::string set_reply(const std::string& content) {
    return "<zrpConsoleReply><set>" + content + "</set></zrpConsoleReply>";
}

using Texts = std::vector<std::string>;

TEST(ScanSetReply, GivesOneNameForEachCall) {
    const Scan scan = scan_all(set_reply("<name>A</name>\n<name>B</name>"), Buffers::kName);
    EXPECT_EQ(scan.texts, (Texts{"A", "B"}));
    EXPECT_EQ(scan.rc, kInvalid);
}

TEST(ScanSetReply, TakesTheValueBesideTheName) {
    const Scan scan = scan_all(
        set_reply("<name value=\"1\">A</name><name>B</name><name kind=\"x\" value = \"\">C</name>"
                  "<name value=\"2\"/>"),
        Buffers::kBoth);
    EXPECT_EQ(scan.texts, (Texts{"A=1", "B=", "C=", "=2"}));
}

TEST(ScanSetReply, AValueThatStandsInTheTextIsNoAttribute) {
    const Scan scan = scan_all(set_reply("<name>value=\"7\"</name>"), Buffers::kBoth);
    EXPECT_EQ(scan.texts, (Texts{"value=\"7\"="}));
}

TEST(ScanSetReply, WithoutANameBufferItGivesTheNextValue) {
    const Scan scan =
        scan_all(set_reply("<name>A</name><string>12</string><string/>"), Buffers::kValue);
    EXPECT_EQ(scan.texts, (Texts{"12", ""}));
    EXPECT_EQ(scan.rc, kInvalid);
}

TEST(ScanSetReply, WithoutAnyBufferItOnlyPassesOverValues) {
    EXPECT_EQ(scan_all(set_reply("<string>1</string>"), Buffers::kNone).texts.size(), 1U);
}

TEST(ScanSetReply, AReplyWithoutSetElementIsInvalid) {
    for (const char* text :
         {"", "<zrpConsoleReply></zrpConsoleReply>", "<zrpConsoleReply/>", "<set></set>",
          "<zrpConsoleReply><settings><name>A</name></settings></zrpConsoleReply>",
          "<zrpConsoleReply><set/></zrpConsoleReply>",
          "<zrpConsoleReply></zrpConsoleReply><set><name>A</name></set>"}) {
        const Scan scan = scan_all(text, Buffers::kName);
        EXPECT_EQ(scan.rc, kInvalid) << text;
        EXPECT_TRUE(scan.texts.empty()) << text;
    }
}

TEST(ScanSetReply, AnOffsetAtOrPastTheEndIsOutOfRange) {
    const std::string text = set_reply("<name>A</name>");
    const ExactBlock copy(text);
    const auto name = std::make_unique<SettingText[]>(1);
    const int length = static_cast<int>(text.size());
    for (const int start : {length, length + 1, -1}) {
        int offset = start;
        EXPECT_EQ(ScanSetReply(copy.begin(), length, &offset, &name[0], nullptr), kRange) << start;
        EXPECT_EQ(offset, start);
    }
}

TEST(ScanSetReply, TextsAreCutToTheirBufferBetweenTwoCharacters) {
    const std::string longest(kSettingTextSize - 1, 'x');
    EXPECT_EQ(scan_all(set_reply("<name>" + longest + "y</name>"), Buffers::kName).texts,
              (Texts{longest}));
    const std::string odd = longest.substr(1) + "\u00fc";
    EXPECT_EQ(scan_all(set_reply("<string>" + odd + "</string>"), Buffers::kValue).texts,
              (Texts{longest.substr(1)}));
}

TEST(ScanSetReply, ReadsNothingBehindATruncatedReply) {
    const std::string text = set_reply("<name value=\"1\">A</name><name value=\"x\"/>"
                                       "<name><![CDATA[<B>]]></name><string>12</string>");
    const auto name = std::make_unique<SettingText[]>(1);
    const auto value = std::make_unique<SettingText[]>(1);
    scan_every_prefix(text, [&](char* reply, int length) {
        SettingText* const names[] = {&name[0], nullptr};
        for (SettingText* buffer : names) {
            int offset = 0;
            int calls = 0;
            while (ScanSetReply(reply, length, &offset, buffer, &value[0]) == kOk) {
                ASSERT_LE(++calls, 3);
                ASSERT_LE(offset, length);
            }
        }
    });
}

} // namespace
} // namespace zrp::server_settings_test
