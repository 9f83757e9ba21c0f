#include "common/requests/volume_list.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::volume_list_test {
namespace {

std::string request(int startIndex) {
    uint32_t length = 0;
    const HeapText built(BuildListVolumesRequest(startIndex, &length));
    EXPECT_EQ(strlen(built.get()), length);
    return built.get();
}

std::string volume(const std::string& name, const std::string& status, const std::string& number) {
    return "<volume><name>" + name + "</name><status>" + status + "</status><volumeNumber>" +
           number + "</volumeNumber></volume>";
}

std::string list(const std::string& content) {
    return "<zrpConsoleReply><listVolumes>" + content + "</listVolumes></zrpConsoleReply>";
}

// A reply, the place in it, and what its last scan gave.
struct Scan {
    explicit Scan(const std::string& text) : reply(text) {}

    int next() {
        return ScanListVolumesReply(reply.begin(), reply.length(), &offset, &name, &status,
                                    &number);
    }

    ExactBlock reply;
    int offset = 0;
    ListedName name = "untouched";
    uint32_t status = 4711;
    int32_t number = 4711;
};

void expect_untouched(const Scan& scan) {
    EXPECT_STREQ(scan.name, "untouched");
    EXPECT_EQ(scan.status, 4711U);
    EXPECT_EQ(scan.number, 4711);
    EXPECT_EQ(scan.offset, 0);
}

TEST(BuildListVolumesRequest, TheFirstPageHasNoStartIndex) {
    EXPECT_EQ(request(0), "<zrpConsoleRequest><listVolumes></listVolumes></zrpConsoleRequest>");
}

TEST(BuildListVolumesRequest, ALaterPageNamesItsStart) {
    EXPECT_EQ(request(17), "<zrpConsoleRequest><listVolumes><startIndex>17</startIndex>"
                           "</listVolumes></zrpConsoleRequest>");
    EXPECT_NE(request(-2).find("<startIndex>-2</startIndex>"), std::string::npos);
}

TEST(ScanListVolumesReply, GivesOneVolumeAfterTheOther) {
    Scan scan(list(volume("SYS", "0x40000003", "0") + "\n" + volume("DATA", "1", "12")));
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_STREQ(scan.name, "SYS");
    EXPECT_EQ(scan.status, 0x40000003U);
    EXPECT_EQ(scan.number, 0);
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_STREQ(scan.name, "DATA");
    EXPECT_EQ(scan.status, 1U);
    EXPECT_EQ(scan.number, 12);
    EXPECT_EQ(scan.next(), kInvalid);
}

TEST(ScanListVolumesReply, ReadsTheStatusWithAnyBaseAndTheNumberAsDecimal) {
    Scan scan(list(volume("A", "010", "010") + volume("B", "0XfF", "0x10")));
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_EQ(scan.status, 8U);
    EXPECT_EQ(scan.number, 10);
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_EQ(scan.status, 255U);
    EXPECT_EQ(scan.number, 0);
}

TEST(ScanListVolumesReply, OfANumberThatIsTooWideGivesItsLowBits) {
    Scan scan(list(volume("A", "1", "4294967301") + volume("B", "1", "4294967295")));
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_EQ(scan.number, 5);
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_EQ(scan.number, -1);
}

TEST(ScanListedVolume, GivesTheWholeNumber) {
    const ExactBlock reply(list(volume("A", "0x3", "4294967301")));
    int offset = 0;
    ListedName name;
    uint32_t status = 0;
    int64_t number = 0;
    ASSERT_EQ(ScanListedVolume(reply.begin(), reply.length(), &offset, &name, &status, &number),
              kOk);
    EXPECT_STREQ(name, "A");
    EXPECT_EQ(status, 3U);
    EXPECT_EQ(number, 4294967301);
}

TEST(ScanListVolumesReply, MovesTheOffsetBehindTheVolume) {
    const std::string one = volume("A", "1", "1");
    Scan scan(list(one));
    ASSERT_EQ(scan.next(), kOk);
    EXPECT_EQ(scan.offset, static_cast<int>(strlen("<zrpConsoleReply><listVolumes>") + one.size()));
}

TEST(ScanListVolumesReply, AnEmptyReplyHasNoVolume) {
    Scan scan("");
    EXPECT_EQ(scan.next(), kInvalid);
    expect_untouched(scan);
    EXPECT_EQ(ScanListVolumesReply(nullptr, 0, &scan.offset, nullptr, nullptr, nullptr), kInvalid);
    EXPECT_EQ(ScanListVolumesReply(nullptr, -1, &scan.offset, nullptr, nullptr, nullptr), kInvalid);
}

TEST(ScanListVolumesReply, AnOffsetAtTheEndIsOutOfRange) {
    Scan scan(list(""));
    scan.offset = scan.reply.length();
    EXPECT_EQ(scan.next(), kRange);
    scan.offset = scan.reply.length() + 1;
    EXPECT_EQ(scan.next(), kRange);
}

TEST(ScanListVolumesReply, AReplyOfAnotherKindIsNotFound) {
    Scan scan("<zrpConsoleReply><listPools/></zrpConsoleReply>");
    EXPECT_EQ(scan.next(), kNotFound);
    expect_untouched(scan);
}

struct BadVolume {
    const char* content;
    int result;
};

TEST(ScanListVolumesReply, AMissingElementLeavesTheOutputsUntouched) {
    const BadVolume cases[] = {
        {"<volume/>", kInvalid},
        {"<volume></volume>", kInvalid},
        {"<volume><name>A</name><status>1</status></volume>", kInvalid},
        {"<volume><name>A</name><volumeNumber>1</volumeNumber></volume>", kInvalid},
        {"<volume><name/><status>1</status><volumeNumber>1</volumeNumber></volume>", kInvalid},
        {"<volume><name>A</name><status/><volumeNumber>1</volumeNumber></volume>", kInvalid},
    };
    for (const BadVolume& c : cases) {
        Scan scan(list(c.content));
        EXPECT_EQ(scan.next(), c.result) << c.content;
        expect_untouched(scan);
    }
}

TEST(ScanListVolumesReply, ANameThatDoesNotFitIsTooLong) {
    Scan longest(list(volume(std::string(4095, 'x'), "1", "1")));
    ASSERT_EQ(longest.next(), kOk);
    EXPECT_EQ(strlen(longest.name), 4095U);
    Scan scan(list(volume(std::string(4096, 'x'), "1", "1")));
    EXPECT_EQ(scan.next(), kTooLong);
    expect_untouched(scan);
}

TEST(ScanListVolumesReply, DoesNotLookAtWhatNobodyAskedFor) {
    Scan scan(list("<volume><status>3</status></volume>"));
    uint32_t status = 0;
    EXPECT_EQ(ScanListVolumesReply(scan.reply.begin(), scan.reply.length(), &scan.offset, nullptr,
                                   &status, nullptr),
              kOk);
    EXPECT_EQ(status, 3U);
}

TEST(ScanListVolumesReply, NeverReadsBeyondATruncatedReply) {
    const std::string text = list("<startIndex>5</startIndex>" +
                                  volume("<![CDATA[S<Y]]>", "0x3", "0") + volume("DATA", "2", "1"));
    int count = 0;
    int startIndex = 0;
    scan_every_prefix(text, [&](char* reply, int length) {
        int offset = 0;
        ListedName name;
        uint32_t status = 0;
        int32_t number = 0;
        for (count = 0;
             ScanListVolumesReply(reply, length, &offset, &name, &status, &number) == kOk;
             count++) {
            EXPECT_STREQ(name, count == 0 ? "S<Y" : "DATA") << length;
            EXPECT_EQ(number, count) << length;
            EXPECT_LE(offset, length);
        }
        ScanStartIndex(reply, length, &startIndex);
        EXPECT_TRUE(startIndex == kNoNextPage || startIndex == 5) << startIndex << " at " << length;
    });
    EXPECT_EQ(count, 2) << "of the whole reply";
    EXPECT_EQ(startIndex, 5);
}

int start_index(const std::string& text) {
    int startIndex = 4711;
    ScanStartIndex(ExactBlock(text).begin(), static_cast<int>(text.size()), &startIndex);
    return startIndex;
}

TEST(ScanStartIndex, ReadsTheIndexWhereverItStands) {
    EXPECT_EQ(start_index(list("<startIndex>24</startIndex>")), 24);
    EXPECT_EQ(start_index(list(volume("A", "1", "1") + "<startIndex>0</startIndex>")), 0);
}

TEST(ScanStartIndex, WithoutOneThereIsNoNextPage) {
    EXPECT_EQ(start_index(list("")), kNoNextPage);
    EXPECT_EQ(start_index(list("<startIndex/>")), kNoNextPage);
    EXPECT_EQ(start_index(""), kNoNextPage);
}

} // namespace
} // namespace zrp::volume_list_test
