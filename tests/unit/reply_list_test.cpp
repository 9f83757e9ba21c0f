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
constexpr ReplyList kList = {{"reply", "list"}, "item", kMissing, kPastEnd};
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
    constexpr ReplyList kCoded = {{"reply", "list"}, "item", kMissing, kPastEnd, 79};
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

TEST(FindInReply, LooksAnywhere) {
    const ExactBlock reply("<o><a>1</a></o>");
    XmlElement element;
    ASSERT_EQ(find_in_reply(reply.begin(), reply.length(), "a", &element), kOk);
    EXPECT_EQ(std::string_view(element.contentStart, element.contentLength), "1");
    EXPECT_EQ(find_in_reply(reply.begin(), reply.length(), "b", &element), kNotFound);
}

TEST(FindInReply, FindsNothingInAnEmptyReply) {
    char reply[] = "<a>1</a>";
    XmlElement element;
    EXPECT_EQ(find_in_reply(nullptr, 8, "a", &element), kNotFound);
    EXPECT_EQ(find_in_reply(reply, 0, "a", &element), kNotFound);
    EXPECT_EQ(find_in_reply(reply, -1, "a", &element), kNotFound);
}

TEST(FindInside, LooksOnlyIntoTheElement) {
    const ExactBlock reply("<o><a>1</a></o><b>2</b><e/>");
    XmlElement outer;
    XmlElement inner;
    ASSERT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
    ASSERT_EQ(find_inside(outer, "a", &inner), kOk);
    EXPECT_EQ(std::string_view(inner.contentStart, inner.contentLength), "1");
    EXPECT_EQ(find_inside(outer, "b", &inner), kNotFound);
    ASSERT_EQ(FindElement("e", reply.begin(), reply.end(), &outer), kOk);
    EXPECT_EQ(find_inside(outer, "a", &inner), kNotFound);
}

} // namespace
} // namespace zrp
