#include "common/engine/reply_fields.h"

#include <cstring>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::reply_fields_test {
namespace {

struct Record {
    int32_t decimal;
    uint32_t number32;
    uint64_t number64;
    char text[4];
    char guard[4];
};

constexpr ReplyField kFields[] = {
    ZRP_FIELD("d", kDecimal, Record, decimal),
    ZRP_FIELD("n", kNumber32, Record, number32),
    ZRP_FIELD("w", kNumber64, Record, number64),
    ZRP_FIELD("t", kText, Record, text),
};

// The record as read from the content of an element, over a pattern that shows what was untouched.
struct Read {
    int rc;
    Record record;
};

Read read_record(std::string_view content) {
    const ExactBlock reply("<o>" + std::string(content) + "</o>");
    XmlElement outer;
    EXPECT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
    Read read = {0, {-7, 7, 7, "###", "###"}};
    read.rc = read_fields(kFields, outer, &read.record);
    EXPECT_STREQ(read.record.guard, "###");
    return read;
}

TEST(ReadFields, ConvertsEachKind) {
    const Read read = read_record("<d>-42</d><n>0x1F</n><w>0xFFFFFFFFFFFFFFFF</w><t>abc</t>");
    EXPECT_EQ(read.rc, kOk);
    EXPECT_EQ(read.record.decimal, -42);
    EXPECT_EQ(read.record.number32, 31U);
    EXPECT_EQ(read.record.number64, UINT64_MAX);
    EXPECT_STREQ(read.record.text, "abc");
}

TEST(ReadFields, TheOrderInTheReplyDoesNotMatter) {
    const Read read = read_record("<t>x</t><w>017</w><n>9</n><d>0x1F</d>");
    EXPECT_EQ(read.rc, kOk);
    EXPECT_EQ(read.record.decimal, 0);
    EXPECT_EQ(read.record.number32, 9U);
    EXPECT_EQ(read.record.number64, 15U);
}

TEST(ReadFields, OfTwoElementsTheFirstOneCounts) {
    for (const char* content : {"<n>2</n><d>1</d><n>3</n><w>4</w><t>x</t>",
                                "<d>1</d><w>4</w><n>2</n><w>5</w><t>x</t><n>3</n>"}) {
        const Read read = read_record(content);
        EXPECT_EQ(read.rc, kOk);
        EXPECT_EQ(read.record.decimal, 1);
        EXPECT_EQ(read.record.number32, 2U);
        EXPECT_EQ(read.record.number64, 4U);
    }
}

TEST(ReadFields, ATextThatIsNoNumberGivesZero) {
    const Read read = read_record("<d></d><n>x</n><w> </w><t></t>");
    EXPECT_EQ(read.rc, kOk);
    EXPECT_EQ(read.record.decimal, 0);
    EXPECT_EQ(read.record.number32, 0U);
    EXPECT_EQ(read.record.number64, 0U);
    EXPECT_STREQ(read.record.text, "");
}

TEST(ReadFields, AWideNumberKeepsItsLowBits) {
    const Read read = read_record("<d>4294967295</d><n>0x1FFFFFFFE</n><w>1</w><t>x</t>");
    EXPECT_EQ(read.record.decimal, -1);
    EXPECT_EQ(read.record.number32, 0xFFFFFFFEU);
}

TEST(ReadFields, AWideDecimalKeepsItsValue) {
    struct Wide {
        int64_t decimal;
    };
    constexpr ReplyField kWide[] = {ZRP_FIELD("d", kDecimal64, Wide, decimal)};
    const std::pair<const char*, int64_t> cases[] = {{"4294967301", 4294967301},
                                                     {" -4294967297x", -4294967297},
                                                     {"99999999999999999999", INT64_MAX},
                                                     {"0x10", 0}};
    for (const auto& [text, value] : cases) {
        const ExactBlock reply("<o><d>" + std::string(text) + "</d></o>");
        XmlElement outer;
        ASSERT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
        Wide wide = {};
        EXPECT_EQ(read_fields(kWide, outer, &wide), kOk);
        EXPECT_EQ(wide.decimal, value);
    }
}

TEST(ReadFields, ATextIsCutToItsMember) {
    EXPECT_STREQ(read_record("<d>1</d><n>1</n><w>1</w><t>abcdef</t>").record.text, "abc");
    EXPECT_STREQ(read_record("<d>1</d><n>1</n><w>1</w><t>ab\xC3\xA4</t>").record.text, "ab");
}

TEST(ReadFields, StopsAtTheFirstMissingElement) {
    const Read read = read_record("<d>1</d><w>1</w><t>abc</t>");
    EXPECT_EQ(read.rc, kInvalid);
    EXPECT_EQ(read.record.decimal, 1);
    EXPECT_EQ(read.record.number32, 7U);
    EXPECT_EQ(read.record.number64, 7U);
    EXPECT_STREQ(read.record.text, "###");
}

TEST(ReadField, ASelfClosingElementIsMissing) {
    EXPECT_EQ(read_record("<d/><n>1</n><w>1</w><t>x</t>").rc, kInvalid);
}

TEST(ReadField, ASelfClosingOuterElementHoldsNothing) {
    const ExactBlock reply("<o/><d>1</d>");
    XmlElement outer;
    ASSERT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
    Record record = {};
    EXPECT_EQ(read_field(kFields[0], outer, &record), kInvalid);
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

// An element whose content is these bytes of a longer text.
XmlElement element_of(const ExactBlock& text, size_t length) {
    XmlElement element;
    element.contentStart = text.begin();
    element.contentEnd = text.begin() + length - 1;
    element.contentLength = static_cast<uint32_t>(length);
    return element;
}

TEST(FindInside, SeesNothingOfWhatFollowsTheContent) {
    const ExactBlock text("<a>1</a>");
    XmlElement inner;
    EXPECT_EQ(find_inside(element_of(text, 8), "a", &inner), kOk);
    EXPECT_EQ(find_inside(element_of(text, 7), "a", &inner), kNotFound);
}

TEST(FindOptional, MayBeMissingButNotCut) {
    const ExactBlock text("<a>1</a>");
    XmlElement inner;
    EXPECT_EQ(find_optional(element_of(text, 8), "a", &inner), kOk);
    EXPECT_EQ(inner.contentLength, 1U);
    EXPECT_EQ(find_optional(element_of(text, 7), "a", &inner), kNotFound);
    EXPECT_EQ(find_optional(element_of(text, 3), "a", &inner), kNotFound);
    EXPECT_EQ(find_optional(element_of(text, 2), "a", &inner), kOk);
    EXPECT_EQ(find_optional(element_of(text, 8), "b", &inner), kOk);
    EXPECT_EQ(find_optional(XmlElement{}, "a", &inner), kOk);
}

TEST(ReadFields, AnOptionalElementMayBeMissing) {
    constexpr ReplyField kOptional[] = {
        ZRP_OPTIONAL_FIELD("a", kNumber32, Record, number32),
        ZRP_FIELD("d", kDecimal, Record, decimal),
        ZRP_OPTIONAL_FIELD("w", kNumber64, Record, number64),
    };
    const ExactBlock reply("<o><d>1</d><w>2</w></o>");
    XmlElement outer;
    ASSERT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
    Record record = {};
    record.number32 = 7;
    EXPECT_EQ(read_fields(kOptional, outer, &record), kOk);
    EXPECT_EQ(record.number32, 7U);
    EXPECT_EQ(record.decimal, 1);
    EXPECT_EQ(record.number64, 2U);
}

TEST(ReadFields, AFractionHasAPointInEveryLocale) {
    struct Load {
        float value;
    };
    constexpr ReplyField kLoad[] = {ZRP_FIELD("l", kFraction, Load, value)};
    const ExactBlock reply("<o><l>1.5</l></o>");
    XmlElement outer;
    ASSERT_EQ(FindElement("o", reply.begin(), reply.end(), &outer), kOk);
    Load load = {};
    EXPECT_EQ(read_fields(kLoad, outer, &load), kOk);
    EXPECT_EQ(load.value, 1.5F);
}

TEST(StoreField, OfAFractionSeventyNineCharactersCount) {
    const ReplyField field = {"l", 0, sizeof(float), FieldKind::kFraction};
    float value = 7;
    EXPECT_EQ(store_field(field, std::string(78, '0') + "1", &value), kOk);
    EXPECT_EQ(value, 1.0F);
    EXPECT_EQ(store_field(field, std::string(79, '0') + "1", &value), kOk);
    EXPECT_EQ(value, 0.0F);
}

} // namespace
} // namespace zrp::reply_fields_test
