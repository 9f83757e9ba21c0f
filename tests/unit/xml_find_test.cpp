#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "common/result.h"
#include "common/xml_reader.h"
#include "tests/support/exact_block.h"

namespace zrp::xml_find_test {
namespace {

// Returns the content of the first such element, or nothing.
std::optional<std::string> content_of(std::string_view tag, std::string_view text) {
    const ExactBlock reply(text);
    XmlElement element;
    if (FindElement(tag, reply.begin(), reply.end(), &element) != kOk) {
        return std::nullopt;
    }
    return std::string(element.contentStart, element.contentLength);
}

constexpr std::nullopt_t kNone = std::nullopt;

struct FindCase {
    std::string_view text;
    std::optional<std::string_view> content; // of the element "a"
};

void expect_contents(const std::vector<FindCase>& cases) {
    for (const FindCase& c : cases) {
        EXPECT_EQ(content_of("a", c.text), c.content) << c.text;
    }
}

TEST(FindElement, ANameIsNotFoundInALongerName) {
    EXPECT_EQ(content_of("name", "<names>a</names><name>b</name>"), "b");
    EXPECT_EQ(content_of("name", "<names>a</names>"), kNone);
    EXPECT_EQ(content_of("names", "<name>a</name>"), kNone);
}

TEST(FindElement, ANameEndsAtWhiteSpaceSlashOrBracket) {
    expect_contents({{"<a>x</a>", "x"},
                     {"<a id=\"3\">x</a>", "x"},
                     {"<a\t>x</a>", "x"},
                     {"<a\n>x</a>", "x"},
                     {"<a\v>x</a>", "x"},
                     {"<a\f>x</a>", "x"},
                     {"<a\r>x</a>", "x"},
                     {"<a-b>x</a-b>", kNone},
                     {"<a:b>x</a:b>", kNone},
                     {"<A>x</A>", kNone}});
}

TEST(FindElement, FindsTheFirstOfSeveral) {
    expect_contents(
        {{"<b>0</b><a>1</a><a>2</a>", "1"}, {"text <a>1</a>", "1"}, {"<<a>1</a>", "1"}});
}

TEST(FindElement, TheOuterMatchEndsAtTheSecondClosingTagOfItsName) {
    EXPECT_EQ(content_of("volume", "<volume><volume>x</volume></volume>"), "<volume>x</volume>");
    EXPECT_EQ(content_of("volume", "<volume><volume>x</volume>"), kNone);
}

TEST(FindElement, ClosingTagsOfLongerNamesDoNotMatch) {
    expect_contents({{"<a>1</ab></a>", "1</ab>"}, {"<a>1</a ></a>", "1</a >"}});
}

// It opens nothing, and yet the match needs another closing tag.
TEST(FindElement, ASelfClosingChildOfTheSameNameCounts) {
    expect_contents({{"<a><a/></a></a>", "<a/></a>"}, {"<a><a/></a>", kNone}});
}

TEST(FindElement, AnEmptyElementHasLengthZero) {
    const ExactBlock reply("<a></a>");
    XmlElement element;
    ASSERT_EQ(FindElement("a", reply.begin(), reply.end(), &element), kOk);
    EXPECT_EQ(element.contentLength, 0U);
    EXPECT_EQ(element.contentStart, reply.begin() + 3);
    EXPECT_EQ(element.contentEnd, reply.begin() + 2);
    EXPECT_EQ(element.elementEnd, reply.begin() + 6);
}

TEST(FindElement, ASelfClosingElementHasNoContent) {
    for (const std::string_view text : {"<a/>", "<a />", "<a id=\"3\"/>"}) {
        const ExactBlock reply(text);
        XmlElement element;
        ASSERT_EQ(FindElement("a", reply.begin(), reply.end(), &element), kOk) << text;
        EXPECT_EQ(element.contentStart, nullptr);
        EXPECT_EQ(element.contentEnd, nullptr);
        EXPECT_EQ(element.contentLength, 0U);
        EXPECT_EQ(element.tagEnd, reply.begin() + 2);
        EXPECT_EQ(element.elementEnd, reply.end() - 1);
    }
}

TEST(FindElement, StoresThePlacesOfTheMatch) {
    const ExactBlock reply("..<a id=\"3\">xyz</a>..");
    XmlElement element;
    ASSERT_EQ(FindElement("a", reply.begin(), reply.end(), &element), kOk);
    EXPECT_EQ(element.tagEnd, reply.begin() + 4);
    EXPECT_EQ(element.contentStart, reply.begin() + 12);
    EXPECT_EQ(element.contentEnd, reply.begin() + 14);
    EXPECT_EQ(element.contentLength, 3U);
    EXPECT_EQ(element.elementEnd, reply.begin() + 18);
}

TEST(FindElement, EveryCutBeforeTheLastBracketIsNotFound) {
    constexpr std::string_view kText = "<a id=\"1\"><b>x</b><![CDATA[</a>]]><a>y</a></a>";
    for_each_truncated_prefix(kText, [&](std::string_view prefix) {
        EXPECT_EQ(content_of("a", prefix).has_value(), prefix.size() == kText.size()) << prefix;
    });
}

TEST(FindElement, LeavesTheMatchUntouchedWhenThereIsNone) {
    const ExactBlock reply("<a>x<b/>");
    XmlElement element;
    element.contentLength = 7;
    EXPECT_EQ(FindElement("a", reply.begin(), reply.end(), &element), kNotFound);
    EXPECT_EQ(FindElement("c", reply.begin(), reply.end(), &element), kNotFound);
    EXPECT_EQ(element.contentLength, 7U);
    EXPECT_EQ(element.tagEnd, nullptr);
}

TEST(FindElement, ReadsNothingAfterItsRange) {
    const std::string text = "<a>x</a>";
    for (size_t size = 0; size < text.size(); size++) {
        ExactBlock reply(text);
        XmlElement element;
        EXPECT_EQ(FindElement("a", reply.begin(), reply.begin() + size, &element), kNotFound);
    }
}

TEST(FindElement, ChainsFromThePreviousMatch) {
    const ExactBlock reply("<list><v>1</v><v>2</v></list><v>3</v>");
    XmlElement list;
    ASSERT_EQ(FindElement("list", reply.begin(), reply.end(), &list), kOk);
    std::string found;
    XmlElement item;
    for (char* at = list.contentStart; FindElement("v", at, list.contentEnd + 1, &item) == kOk;
         at = item.elementEnd + 1) {
        found += *item.contentStart;
    }
    EXPECT_EQ(found, "12");
}

TEST(FindElement, AnEmptyRangeHasNoElement) {
    XmlElement element;
    EXPECT_EQ(FindElement("a", nullptr, nullptr, &element), kNotFound);
}

TEST(FindElementCdata, TheMarkersAreRemovedInPlace) {
    const ExactBlock reply("<a><![CDATA[1<2]]></a>");
    XmlElement element;
    ASSERT_EQ(FindElement("a", reply.begin(), reply.end(), &element), kOk);
    EXPECT_EQ(std::string_view(element.contentStart, element.contentLength), "1<2");
    EXPECT_EQ(element.contentLength, 3U);
    EXPECT_EQ(element.contentEnd, reply.begin() + 5);
    EXPECT_EQ(reply.text().substr(0, 10), "<a>1<2</a>");
    EXPECT_EQ(element.elementEnd, reply.begin() + 9);
}

TEST(FindElementCdata, MarkupInsideIsText) {
    expect_contents({{"<a><![CDATA[</a>]]></a>", "</a>"},
                     {"<a><![CDATA[<a>]]></a>", "<a>"},
                     {"<a><![CDATA[<b]]>c</a>", "<bc"},
                     {"<a><![CDATA[<![CDATA[]]></a>", "<![CDATA["},
                     {"<a><![CDATA[]]]]></a>", "]]"},
                     {"<a><![CDATA[]]></a>", ""},
                     {"<a>]]></a>", "]]>"}});
}

TEST(FindElementCdata, SeveralSectionsAreJoined) {
    expect_contents({{"<a>1<![CDATA[2]]>3<![CDATA[4]]>5</a>", "12345"},
                     {"<a><![CDATA[1]]><![CDATA[2]]></a>", "12"},
                     {"<a><b>x</b><![CDATA[2]]></a>", "<b>x</b>2"}});
}

// Only a name that is ended by the slash itself opens nothing.
TEST(FindElementCdata, ASectionAfterASelfClosingChildIsInterpreted) {
    expect_contents({{"<a><b/><![CDATA[2]]></a>", "<b/>2"},
                     {"<a><b /><![CDATA[2]]></a>", "<b /><![CDATA[2]]>"}});
}

// A section inside a child is unchanged until a search matches the child.
TEST(FindElementCdata, OnlySectionsDirectlyInsideAreInterpreted) {
    const ExactBlock reply("<o><a><![CDATA[1]]></a></o>");
    XmlElement outer;
    XmlElement inner;
    ASSERT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
    EXPECT_EQ(std::string_view(outer.contentStart, outer.contentLength), "<a><![CDATA[1]]></a>");
    ASSERT_EQ(FindElement("a", outer.contentStart, outer.contentEnd + 1, &inner), kOk);
    EXPECT_EQ(std::string_view(inner.contentStart, inner.contentLength), "1");
}

TEST(FindElementCdata, AnUnclosedSectionIsTruncated) {
    expect_contents({{"<a><![CDATA[x</a>", kNone}, {"<a><![CDATA[x]]</a>", kNone}});
}

TEST(FindElementCdata, TheElementAfterItIsFoundOnce) {
    const ExactBlock reply("<l><v><![CDATA[1]]></v><v>2</v><v><![CDATA[3]]></v></l><end/>");
    XmlElement list;
    ASSERT_EQ(FindElement("l", reply.begin(), reply.end(), &list), kOk);
    std::string found;
    XmlElement item;
    for (char* at = list.contentStart; FindElement("v", at, list.contentEnd + 1, &item) == kOk;
         at = item.elementEnd + 1) {
        found += std::string_view(item.contentStart, item.contentLength);
    }
    EXPECT_EQ(found, "123");
    EXPECT_TRUE(reply.text().ends_with("</l><end/>"));
}

// The bytes that are left over hold no second copy of it.
TEST(FindElementCdata, AChildAfterASectionIsFoundOnce) {
    const ExactBlock reply("<l><v><![CDATA[1]]><x/></v></l>");
    XmlElement item;
    XmlElement child;
    ASSERT_EQ(FindElement("v", reply.begin(), reply.end(), &item), kOk);
    EXPECT_EQ(std::string_view(item.contentStart, item.contentLength), "1<x/>");
    EXPECT_EQ(FindElement("x", item.elementEnd + 1, reply.end(), &child), kNotFound);
}

TEST(FindElementCdata, AnElementThatIsNotClosedClosesUpToTheEndOfTheReply) {
    const ExactBlock reply("<a><![CDATA[1]]><x/>2");
    XmlElement element;
    EXPECT_EQ(FindElement("a", reply.begin(), reply.end(), &element), kNotFound);
    EXPECT_EQ(reply.text(), "<a>1<x/>2            ");
}

// The name and content of each sibling element.
std::vector<std::string> elements_of(std::string_view text) {
    const ExactBlock reply(text);
    std::vector<std::string> found;
    char* at = reply.begin();
    XmlElement element;
    char* name = nullptr;
    size_t length = 0;
    while (NextElement(at, reply.end(), &element, &name, &length) == kOk) {
        found.push_back(std::string(name, length) + "=" +
                        std::string(element.contentStart, element.contentLength));
        at = element.elementEnd + 1;
    }
    return found;
}

using Names = std::vector<std::string>;

TEST(NextElement, FindsElementsOfAnyName) {
    EXPECT_EQ(elements_of("<a>1</a> <b x=\"1\">2</b><c/><d></d>"),
              (Names{"a=1", "b=2", "c=", "d="}));
}

TEST(NextElement, MatchesBodiesLikeTheFinder) {
    EXPECT_EQ(elements_of("<a><a>1</a></a><b><![CDATA[</b>]]></b>"),
              (Names{"a=<a>1</a>", "b=</b>"}));
}

TEST(NextElement, SkipsClosingTagsCommentsAndDeclarations) {
    EXPECT_EQ(elements_of("<?xml version=\"1.0\"?><!-- x --></z><a>1</a>"), (Names{"a=1"}));
}

TEST(NextElement, EndsAtAnElementThatIsNotClosed) {
    EXPECT_EQ(elements_of("<a>1</a><b>2"), (Names{"a=1"}));
    EXPECT_EQ(elements_of("<a"), Names{});
    EXPECT_EQ(elements_of("<"), Names{});
    EXPECT_EQ(elements_of("no markup"), Names{});
}

TEST(NextElement, LeavesOutputsUntouchedWhenThereIsNone) {
    const ExactBlock reply("<a>1");
    XmlElement element;
    char* name = nullptr;
    size_t length = 7;
    EXPECT_EQ(NextElement(reply.begin(), reply.end(), &element, &name, &length), kNotFound);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(length, 7U);
    EXPECT_EQ(element.tagEnd, nullptr);
}

using PlainFinder = int (*)(std::string_view, const char*, const char*, const char**);

constexpr ptrdiff_t kNowhere = -2;

ptrdiff_t place_of(PlainFinder finder, std::string_view tag, std::string_view text) {
    const ExactBlock reply(text);
    const char* found = reply.begin() + kNowhere;
    const int rc = finder(tag, reply.begin(), reply.end(), &found);
    EXPECT_EQ(rc, found == reply.begin() + kNowhere ? kNotFound : kOk);
    return found - reply.begin();
}

TEST(FindClosingTag, FindsTheBracketOfTheLast) {
    EXPECT_EQ(place_of(FindClosingTag, "a", "<a>1</a></a>x"), 8);
    EXPECT_EQ(place_of(FindClosingTag, "a", "<a>1</a><a>"), 4);
    EXPECT_EQ(place_of(FindClosingTag, "a", "</a></ab></a ></a"), 0);
}

TEST(FindClosingTag, IsAbsent) {
    for (const std::string_view text : {"", "<", "</", "</a", "<a>", "a></a ", "</ab>", "< /a>"}) {
        EXPECT_EQ(place_of(FindClosingTag, "a", text), kNowhere) << text;
    }
}

TEST(FindPlainOpenTag, FindsTheClosingBracketOfTheFirst) {
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "<b><a>1</a><a>"), 5);
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "<<a>"), 3);
}

TEST(FindPlainOpenTag, IgnoresTagsWithAttributes) {
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "<a x=\"1\"><a ><a/><ab></a><a>"), 27);
}

TEST(FindPlainOpenTag, SkipsCdataSections) {
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "<![CDATA[<a>]]><a>"), 17);
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "<![CDATA[<a>]]>"), kNowhere);
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "<![CDATA[<a>"), kNowhere);
    EXPECT_EQ(place_of(FindPlainOpenTag, "a", "]]><![CDATA[<a>]]><a>"), 20);
}

TEST(FindPlainOpenTag, IsAbsent) {
    for (const std::string_view text : {"", "<", "<a", "a>", "</a>"}) {
        EXPECT_EQ(place_of(FindPlainOpenTag, "a", text), kNowhere) << text;
    }
}

} // namespace
} // namespace zrp::xml_find_test
