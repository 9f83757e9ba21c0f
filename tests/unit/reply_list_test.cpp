#include "common/engine/reply_list.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/exact_block.h"

namespace zrp::reply_list_test {
namespace {

constexpr int kMissing = 77;
constexpr int kPastEnd = 78;
constexpr ReplyList kList = {{"reply", "list"}, "item", {}, kMissing, kPastEnd};
constexpr ReplyList kPlainList = {{}, "item"};

struct Walk {
    std::vector<std::string> contents;
    int rc; // that ended it
};

Walk walk(const ReplyList& list, std::string_view text) {
    const ExactBlock reply(text);
    Walk walked = {};
    int offset = 0;
    XmlElement item;
    while ((walked.rc = next_item(list, reply.begin(), reply.length(), &offset, &item)) == kOk) {
        EXPECT_EQ(reply.begin() + offset, item.elementEnd + 1);
        walked.contents.emplace_back(item.contentStart, item.contentLength);
    }
    return walked;
}

using Contents = std::vector<std::string>;

TEST(NextItem, GivesTheItemsInOrder) {
    const Walk walked = walk(
        kList, "<reply><item>no</item><list><item>1</item> <item/><item>3</item></list></reply>");
    EXPECT_EQ(walked.contents, (Contents{"1", "", "3"}));
    EXPECT_EQ(walked.rc, kInvalid);
}

// The sections are counted for the elements of the path together.
TEST(NextItem, ASectionOfTheListIsText) {
    const Walk walked = walk(kList, "<reply><a><![CDATA[<]]></a><list><![CDATA[</list>]]>"
                                    "<item>1</item></list></reply>");
    EXPECT_EQ(walked.contents, Contents{"1"});
    EXPECT_EQ(walk(kList, "<reply><list><![CDATA[<item>1</item></list></reply>").rc, kMissing);
    EXPECT_EQ(walk(kList, "<reply><b><list><![CDATA[</list>]]><item>2</item></list></b></reply>")
                  .contents,
              Contents{"2"});
}

// Compatibility: without its markers the text of a section of the outer element is markup.
TEST(NextItem, ASectionBeforeTheListMakesItNoDeeper) {
    EXPECT_EQ(
        walk(kList, "<reply><![CDATA[</a></a>]]><list><![CDATA[<item>1</item></list></reply>").rc,
        kMissing);
}

TEST(NextItem, ASectionOfAnItemIsMarkupForTheList) {
    const Walk walked = walk(kList, "<reply><list><item><![CDATA[a]]></item>"
                                    "<item><![CDATA[</list>]]></item></list></reply>");
    EXPECT_EQ(walked.contents, (Contents{"a", "</list>"}));
}

TEST(NextItem, TheEndOfTheReplyHasItsOwnCode) {
    const Walk walked = walk(kPlainList, "<item>1</item><item>2</item>");
    EXPECT_EQ(walked.contents, (Contents{"1", "2"}));
    EXPECT_EQ(walked.rc, kRange);
}

TEST(NextItem, TheLastItemMayBeFollowedByTheListsOwnCode) {
    constexpr ReplyList kCoded = {{"reply", "list"}, "item", {}, kMissing, kPastEnd, 79};
    const Walk walked = walk(kCoded, "<reply><list><item>1</item></list></reply>");
    EXPECT_EQ(walked.contents, (Contents{"1"}));
    EXPECT_EQ(walked.rc, 79);
    EXPECT_EQ(walk(kCoded, "<reply><list/></reply>").rc, 79);
    EXPECT_EQ(walk(kCoded, "<reply/>").rc, kMissing);
    EXPECT_EQ(walk(kCoded, "x").rc, kMissing);
    EXPECT_EQ(walk(kCoded, "").rc, kInvalid);
}

TEST(NextItem, AnOffsetOutsideTheReplyIsPastItsEnd) {
    const ExactBlock reply("<reply><list><item/></list></reply>");
    for (const int place : {reply.length(), reply.length() + 1, INT32_MAX, -1, INT32_MIN}) {
        int offset = place;
        XmlElement item;
        EXPECT_EQ(next_item(kList, reply.begin(), reply.length(), &offset, &item), kPastEnd);
        EXPECT_EQ(offset, place);
        EXPECT_EQ(item.tagEnd, nullptr);
    }
}

TEST(NextItem, AnEmptyReplyIsInvalid) {
    char reply[] = "<item/>";
    int offset = 0;
    XmlElement item;
    EXPECT_EQ(next_item(kPlainList, reply, 0, &offset, &item), kInvalid);
    EXPECT_EQ(next_item(kPlainList, reply, -1, &offset, &item), kInvalid);
    EXPECT_EQ(next_item(kPlainList, nullptr, 7, &offset, &item), kInvalid);
    EXPECT_EQ(offset, 0);
}

TEST(NextItem, AMissingPathElementHasTheListsCode) {
    for (const std::string_view text : {"<item/>", "<list><item/></list>", "<reply><item/></reply>",
                                        "<reply><list><item/>", "<reply/><list><item/></list>"}) {
        EXPECT_EQ(walk(kList, text).rc, kMissing) << text;
    }
}

TEST(NextItem, ASelfClosingListHasNoItems) {
    EXPECT_EQ(walk(kList, "<reply><list/></reply><item/>").rc, kInvalid);
}

TEST(NextItem, AnItemCutShortEndsTheList) {
    const Walk walked = walk(kPlainList, "<item>1</item><item>2");
    EXPECT_EQ(walked.contents, (Contents{"1"}));
    EXPECT_EQ(walked.rc, kInvalid);
}

int end_of(std::string_view text, int rc) {
    const ExactBlock reply(text);
    return end_of_list(kList, reply.begin(), reply.length(), 0, rc);
}

TEST(EndOfList, IsWhereNoFurtherItemBegins) {
    EXPECT_EQ(end_of("<reply><list/></reply>", kInvalid), kOk);
    EXPECT_EQ(end_of("<reply><item/><list></list></reply>", kNotFound), kOk);
    EXPECT_EQ(end_of("<reply><list><item></list></reply>", kRange), kInvalid);
}

TEST(EndOfList, IsNotInAReplyWithoutTheList) {
    EXPECT_EQ(end_of("<reply/>", kNotFound), kInvalid);
}

TEST(EndOfList, IsNotWhatBrokeAScanOff) {
    EXPECT_EQ(end_of("<reply><list/></reply>", ECANCELED), ECANCELED);
}

struct Pair {
    char name[8];
    int32_t number;
};

constexpr ReplyField kPairFields[] = {
    ZRP_FIELD("name", kText, Pair, name),
    ZRP_FIELD("id", kDecimal, Pair, number),
};

constexpr ReplyList kPairs = {{"r"}, "user", kPairFields, kInvalid, kRange, kRange};

TEST(ScanRecord, TheEndDiffersFromAMalformedItem) {
    const ExactBlock copy(
        "<r><user><name>x</name><id>5</id></user><user><name>y</name></user></r>");
    Pair record = {"old", 77};
    int offset = 0;
    EXPECT_EQ(scan_record(kPairs, copy.begin(), copy.length(), &offset, &record), kOk);
    EXPECT_EQ(record.number, 5);
    const int afterFirst = offset;
    EXPECT_EQ(scan_record(kPairs, copy.begin(), copy.length(), &offset, &record), kInvalid);
    EXPECT_EQ(offset, afterFirst);
    EXPECT_STREQ(record.name, "x");
    for (const int end : {copy.length() - 4, copy.length(), -1}) {
        offset = end;
        EXPECT_EQ(scan_record(kPairs, copy.begin(), copy.length(), &offset, &record), kRange);
        EXPECT_EQ(offset, end);
    }
}

TEST(ScanRecord, RefusesNullOutputs) {
    const ExactBlock copy("<r><user><name>x</name><id>5</id></user></r>");
    Pair record = {"old", 77};
    int offset = 0;
    EXPECT_EQ(scan_record(kPairs, copy.begin(), copy.length(), nullptr, &record), kInvalid);
    EXPECT_EQ(scan_record<Pair>(kPairs, copy.begin(), copy.length(), &offset, nullptr), kInvalid);
    EXPECT_EQ(offset, 0);
}

TEST(ScanNext, AFailedReadLeavesTheOffset) {
    const ExactBlock copy("<r><user/><user/></r>");
    int offset = 0;
    EXPECT_EQ(scan_next(kPairs, copy.begin(), copy.length(), &offset,
                        [](const XmlElement&) { return int{kTooLong}; }),
              kTooLong);
    EXPECT_EQ(offset, 0);
}

// A walk over one-digit items; any other item is malformed, and "long" too long.
struct Visits {
    std::vector<int> seen;
    int count = 77;
    int rc = 0;
};

Visits visit(std::string_view text, int stopAt = 0) {
    char* copy = static_cast<char*>(malloc(text.size()));
    memcpy(copy, text.data(), text.size());
    const Reply reply = {HeapText(copy), static_cast<int32_t>(text.size())};
    Visits visits;
    visits.rc = visit_records<int>(
        kList, reply,
        [&](int* offset, int* record) {
            return scan_next(kList, copy, reply.length, offset, [&](const XmlElement& item) {
                const std::string_view content(item.contentStart, item.contentLength);
                *record = content.empty() ? 0 : content.front() - '0';
                return content.size() == 1 ? int{kOk} : content == "long" ? kTooLong : kInvalid;
            });
        },
        [&](int record) {
            visits.seen.push_back(record);
            return record == stopAt ? 99 : int{kOk};
        },
        &visits.count);
    return visits;
}

using Seen = std::vector<int>;

constexpr std::string_view kThree =
    "<reply><list><item>1</item><item>2</item><item>3</item></list></reply>";

TEST(VisitRecords, GivesEveryItem) {
    const Visits visits = visit(kThree);
    EXPECT_EQ(visits.rc, kOk);
    EXPECT_EQ(visits.seen, (Seen{1, 2, 3}));
    EXPECT_EQ(visits.count, 3);
    EXPECT_EQ(visit("<reply><list></list></reply>").rc, kOk);
    EXPECT_EQ(visit("<reply><list/></reply>").rc, kOk);
}

TEST(VisitRecords, OfAListThatWasCutNothingIsGiven) {
    for (size_t size = 1; size < kThree.size(); size++) {
        const Visits visits = visit(kThree.substr(0, size));
        EXPECT_EQ(visits.rc, kInvalid) << size;
        EXPECT_EQ(visits.seen, Seen{}) << size;
    }
    for (const std::string_view text :
         {"", "garbage", "<reply/>", "<reply></reply>", "<list><item>1</item></list>",
          "<reply><list><item>1</item></reply>", "<reply><list><item>1</item></list>"}) {
        EXPECT_EQ(visit(text).rc, kInvalid) << text;
        EXPECT_EQ(visit(text).seen, Seen{}) << text;
    }
}

TEST(VisitRecords, AnItemThatCannotBeReadIsAFailure) {
    constexpr struct {
        const char* item;
        int code;
    } kRows[] = {
        {"<item>two</item>", kInvalid}, {"<item/>", kInvalid},           {"<item>2", kInvalid},
        {"<item >", kInvalid},          {"<item>long</item>", kTooLong}, {"<items>2</items>", kOk},
    };
    for (const auto& row : kRows) {
        const Visits visits =
            visit(std::string("<reply><list><item>1</item>") + row.item + "</list></reply>");
        EXPECT_EQ(visits.rc, row.code) << row.item;
        EXPECT_EQ(visits.seen, Seen{1}) << row.item;
    }
}

TEST(VisitRecords, TheCallbackStopsTheWalk) {
    const Visits visits = visit(kThree, 2);
    EXPECT_EQ(visits.rc, 99);
    EXPECT_EQ(visits.seen, (Seen{1, 2}));
}

} // namespace
} // namespace zrp::reply_list_test
