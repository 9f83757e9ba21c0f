#include "common/engine/reply_list.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/exact_block.h"

namespace zrp {
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

// A walk over numbers 1 to 3, then the code.
int visit(WalkEnd end, int code, int stopAt, int* count, std::vector<int>* seen) {
    int next = 1;
    return visit_records<int>(
        end,
        [&](int*, int* record) {
            *record = next;
            return next++ <= 3 ? int{kOk} : code;
        },
        [&](int record) {
            seen->push_back(record);
            return record == stopAt ? 99 : int{kOk};
        },
        count);
}

TEST(VisitRecords, EndsAsToldByTheScanner) {
    struct Row {
        WalkEnd end;
        int code;
        int expected;
    };
    const Row rows[] = {
        {WalkEnd::kAtTheEnd, kRange, kOk},        {WalkEnd::kAtTheEnd, kInvalid, kInvalid},
        {WalkEnd::kAtAnyFailure, kRange, kOk},    {WalkEnd::kAtAnyFailure, kInvalid, kOk},
        {WalkEnd::kAtAnyFailure, kNotFound, kOk},
    };
    for (const Row& row : rows) {
        std::vector<int> seen;
        int count = 77;
        EXPECT_EQ(visit(row.end, row.code, 0, &count, &seen), row.expected);
        EXPECT_EQ(count, 3);
        EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
        EXPECT_EQ(visit(row.end, row.code, 0, nullptr, &seen), row.expected);
    }
}

TEST(VisitRecords, TheCallbackStopsTheWalk) {
    std::vector<int> seen;
    EXPECT_EQ(visit(WalkEnd::kAtAnyFailure, kRange, 2, nullptr, &seen), 99);
    EXPECT_EQ(seen, (std::vector<int>{1, 2}));
}

} // namespace
} // namespace zrp
