// The children that are listed while an item is matched. Where they are not, the exact walk finds
// the same elements, only slower: which way was taken shows here alone.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "common/result.h"
#include "common/xml_scan.h"
#include "tests/support/exact_block.h"

namespace zrp::plain_children_test {
namespace {

using Texts = std::vector<std::string>;

// "TAG=CONTENT" of each child, or "not listed".
Texts list(const ReplyItem& item) {
    if (!item.children.isWhole) {
        return {"not listed"};
    }
    Texts texts;
    for (size_t i = 0; i < item.children.count; i++) {
        const PlainChild& child = item.children.list[i];
        texts.push_back(std::string(child.tag, child.tagLength) + "=" +
                        std::string(child.content, child.contentLength) +
                        (child.section != nullptr ? " (section)" : ""));
    }
    return texts;
}

// Lists the content both ways: on the way to the item's end, and afterwards.
Texts children_of(const std::string& content, const std::string& after = "") {
    const ExactBlock reply("<item>" + content + "</item>" + after);
    ReplyItem item;
    EXPECT_EQ(find_item("item", reply.begin(), reply.end(), &item), kOk);
    EXPECT_EQ(std::string(item.contentStart, item.contentLength), content);
    EXPECT_EQ(item.elementEnd + 1, reply.end() - after.size());
    const Texts onTheWay = list(item);
    list_children(&item);
    EXPECT_EQ(list(item), onTheWay) << content;
    return onTheWay;
}

TEST(PlainChildren, AreListedInTheirOrder) {
    EXPECT_EQ(children_of(""), Texts{});
    EXPECT_EQ(children_of("text"), Texts{});
    EXPECT_EQ(children_of("<a>1</a><b></b>"), (Texts{"a=1", "b="}));
    EXPECT_EQ(children_of("<a>1</a> <a>2</a>\n"), (Texts{"a=1", "a=2"}));
    EXPECT_EQ(children_of("<item>1</item>"), (Texts{"item=1"}));
    EXPECT_EQ(children_of("<a>1</a>", std::string(100, ' ')), (Texts{"a=1"}));
}

TEST(PlainChildren, MayHaveLongNamesAndTexts) {
    const std::string name(40, 'n');
    const std::string text(100, '.');
    EXPECT_EQ(children_of("<" + name + ">" + text + "</" + name + ">" + text + "<b>2</b>"),
              (Texts{name + "=" + text, "b=2"}));
}

TEST(PlainChildren, MayHaveAttributes) {
    EXPECT_EQ(children_of("<a b=\"1\">2</a><c\td='/'>3</c>"), (Texts{"a=2", "c=3"}));
}

TEST(PlainChildren, MayHaveASection) {
    EXPECT_EQ(children_of("<a><![CDATA[1]]></a><b>x<![CDATA[]]>y</b>"),
              (Texts{"a=<![CDATA[1]]> (section)", "b=x<![CDATA[]]>y (section)"}));
}

TEST(PlainChildren, AreNotListedBesideOthers) {
    for (const char* other : {"<c/>", "<c d=\"1\"/>", "<c><d>1</d></c>", "<c>1<d/></c>", "<!-- -->",
                              "<?x?>", "<![CDATA[1]]>", "<c><![CDATA[<]]></c>", "<>1</>",
                              "<c><![CDATA[1]]><![CDATA[2]]></c>", "<c/d>1</c>", "<-c>1</-c>"}) {
        SCOPED_TRACE(other);
        const ExactBlock reply("<item><a>1</a>" + std::string(other) + "<b>2</b></item>");
        ReplyItem item;
        EXPECT_EQ(find_item("item", reply.begin(), reply.end(), &item), kOk);
        EXPECT_EQ(list(item), Texts{"not listed"});
    }
}

TEST(PlainChildren, AreNotListedWithoutAnItem) {
    for (const char* text : {"", "<item/>", "<item><a>1</a>", "<item><a>1</a></items>"}) {
        SCOPED_TRACE(text);
        const ExactBlock reply(text);
        ReplyItem item;
        item.children.isWhole = true; // of an item before
        (void)find_item("item", reply.begin(), reply.end(), &item);
        EXPECT_EQ(list(item), Texts{"not listed"});
    }
}

TEST(PlainChildren, AreListedAsFarAsThereIsRoom) {
    std::string content;
    for (size_t i = 0; i < kMaxPlainChildren; i++) {
        content += "<a>1</a>";
    }
    EXPECT_EQ(children_of(content).size(), kMaxPlainChildren);
    EXPECT_EQ(children_of(content + "<b>2</b>"), Texts{"not listed"});
}

} // namespace
} // namespace zrp::plain_children_test
