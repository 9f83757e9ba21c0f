#include "common/xml_reader.h"

#include <cstring>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::xml_reader_test {
namespace {

TEST(XmlGetTagElement, ReturnsContentAndLength) {
    const ExactBlock reply("<names>a</names><name>b</name>");
    uint32_t length = 0;
    EXPECT_EQ(XML_GetTagElement(reply.begin(), reply.length(), "name", &length),
              reply.begin() + 22);
    EXPECT_EQ(length, 1U);
}

TEST(XmlGetTagElement, IsNullWithLengthZeroWithoutContent) {
    for (const std::string_view text : {"", "<b>x</b>", "<a>x", "<a>x</a", "<a/>", "<a />"}) {
        const ExactBlock reply(text);
        uint32_t length = 7;
        EXPECT_EQ(XML_GetTagElement(reply.begin(), reply.length(), "a", &length), nullptr) << text;
        EXPECT_EQ(length, 0U) << text;
    }
}

TEST(XmlGetTagElement, ANegativeLengthIsAnEmptyReply) {
    char reply[] = "<a>x</a>";
    uint32_t length = 7;
    EXPECT_EQ(XML_GetTagElement(reply, -1, "a", &length), nullptr);
    EXPECT_EQ(XML_GetTagElement(nullptr, 8, "a", &length), nullptr);
    EXPECT_EQ(length, 0U);
}

TEST(XmlGetTagElement, AnEmptyElementIsNotNull) {
    const ExactBlock reply("<a></a>");
    uint32_t length = 7;
    EXPECT_EQ(XML_GetTagElement(reply.begin(), reply.length(), "a", &length), reply.begin() + 3);
    EXPECT_EQ(length, 0U);
}

TEST(GetTagString, CopiesAndTerminates) {
    const ExactBlock reply("<a>xyz</a><e></e>");
    char text[4] = "###";
    EXPECT_EQ(GetTagString("a", reply.begin(), reply.length(), sizeof text, text), kOk);
    EXPECT_STREQ(text, "xyz");
    EXPECT_EQ(GetTagString("e", reply.begin(), reply.length(), sizeof text, text), kOk);
    EXPECT_STREQ(text, "");
}

TEST(GetTagString, ASelfClosingOrMissingElementIsInvalid) {
    for (const std::string_view sample : {"<a/>", "<b>x</b>", "<a>x"}) {
        const ExactBlock reply(sample);
        char text[4] = "###";
        EXPECT_EQ(GetTagString("a", reply.begin(), reply.length(), sizeof text, text), kInvalid);
        EXPECT_STREQ(text, "###");
    }
}

TEST(GetTagString, AValueThatDoesNotFitWithItsNulIsTooLong) {
    const ExactBlock reply("<a>xyz</a>");
    char text[4] = "###";
    for (const int capacity : {3, 1, 0, -1}) {
        EXPECT_EQ(GetTagString("a", reply.begin(), reply.length(), capacity, text), kTooLong);
        EXPECT_STREQ(text, "###");
    }
}

struct NumberCase {
    std::string_view text;
    uint32_t number;
};

TEST(GetTagInt, ReadsDecimalDigits) {
    constexpr NumberCase kCases[] = {
        {"<a>42</a>", 42},        {"<a> 42</a>", 42},      {"<a>42x</a>", 42},
        {"<a>x</a>", 0},          {"<a></a>", 0},          {"<a>-1</a>", 0xFFFFFFFF},
        {"<a>0x1F</a>", 0},       {"<a>017</a>", 17},      {"<a>4294967295</a>", 0xFFFFFFFF},
        {"<a>4294967297</a>", 1}, {"<a>1<b>2</b></a>", 1},
    };
    for (const NumberCase& c : kCases) {
        const ExactBlock reply(c.text);
        uint32_t number = 7;
        EXPECT_EQ(GetTagInt("a", reply.begin(), reply.length(), &number), kOk) << c.text;
        EXPECT_EQ(number, c.number) << c.text;
    }
}

TEST(GetTagInt, AMissingElementIsInvalid) {
    for (const std::string_view text : {"<b>1</b>", "<a/>", "<a>1", ""}) {
        const ExactBlock reply(text);
        uint32_t number = 7;
        EXPECT_EQ(GetTagInt("a", reply.begin(), reply.length(), &number), kInvalid) << text;
        EXPECT_EQ(number, 7U);
    }
}

TEST(GetStartIndex, IsTheEndOfTheListOnAnyFailure) {
    constexpr NumberCase kCases[] = {
        {"<startIndex>17</startIndex>", 17},
        {"<startIndex>0</startIndex>", 0},
        {"<startIndex/>", kEndOfList},
        {"<startIndex>1", kEndOfList},
        {"<startIndexes>1</startIndexes>", kEndOfList},
        {"", kEndOfList},
    };
    for (const NumberCase& c : kCases) {
        const ExactBlock reply(c.text);
        uint32_t number = 7;
        GetStartIndex(reply.begin(), reply.length(), &number);
        EXPECT_EQ(number, c.number) << c.text;
    }
}

struct RangeCase {
    std::string text;
    int rc;
    uint64_t number;
    ptrdiff_t next; // place of the byte after the word
};

TEST(GetRangeUInt64, AHexadecimalWordBetweenBlanksYields31) {
    const ExactBlock range(" 0x1F ");
    uint64_t number = 7;
    const char* next = nullptr;
    EXPECT_EQ(GetRangeUInt64(range.begin(), range.end(), &number, &next), kOk);
    EXPECT_EQ(number, 31U);
    EXPECT_EQ(next - range.begin(), 5);
}

TEST(GetRangeUInt64, ReadsTheFirstWordWithAutomaticBase) {
    const RangeCase cases[] = {
        {"42", kOk, 42, 2},
        {"017 5", kOk, 15, 3},
        {"\t\n\v\f\r 9\n", kOk, 9, 7},
        {"08", kOk, 0, 2},
        {"abc 1", kOk, 0, 3},
        {"12<3", kOk, 12, 4},
        {"18446744073709551615", kOk, UINT64_MAX, 20},
        {"18446744073709551616", kOk, UINT64_MAX, 20},
        {"-1", kOk, UINT64_MAX, 2},
        {"", kInvalid, 7, -1},
        {" \n ", kInvalid, 7, -1},
        {std::string(78, '0') + "7", kOk, 7, 79},
        {std::string(79, '0') + "7", kNotFound, 7, -1},
        {"  " + std::string(80, '1') + " 5", kNotFound, 7, -1},
    };
    for (const RangeCase& c : cases) {
        const ExactBlock range(c.text);
        uint64_t number = 7;
        const char* next = range.begin() - 1;
        EXPECT_EQ(GetRangeUInt64(range.begin(), range.end(), &number, &next), c.rc) << c.text;
        EXPECT_EQ(number, c.number) << c.text;
        EXPECT_EQ(next - range.begin(), c.next) << c.text;
    }
}

TEST(GetRangeUInt64, ATokenOfEightyCharactersIsTooLong) {
    const ExactBlock range(std::string(80, '1'));
    uint64_t number = 7;
    EXPECT_EQ(GetRangeUInt64(range.begin(), range.end(), &number, nullptr), kNotFound);
    EXPECT_EQ(number, 7U);
}

TEST(GetRangeUInt32, KeepsTheLowBits) {
    const ExactBlock range("0x1FFFFFFFF 2");
    uint32_t number = 7;
    const char* next = nullptr;
    EXPECT_EQ(GetRangeUInt32(range.begin(), range.end(), &number, &next), kOk);
    EXPECT_EQ(number, 0xFFFFFFFFU);
    EXPECT_EQ(GetRangeUInt32(next, range.end(), &number, nullptr), kOk);
    EXPECT_EQ(number, 2U);
    EXPECT_EQ(GetRangeUInt32(range.end(), range.end(), &number, nullptr), kInvalid);
}

std::string attribute_of(std::string_view text, int (*read)(std::string_view, XmlAttribute*)) {
    const ExactBlock range(text);
    XmlAttribute attribute;
    attribute.searchStart = range.begin();
    attribute.searchEnd = range.end();
    attribute.valueLength = 7;
    const int rc = read("type", &attribute);
    if (rc != kOk) {
        EXPECT_EQ(rc, kNotFound);
        EXPECT_EQ(attribute.valueStart, nullptr);
        EXPECT_EQ(attribute.valueLength, 7U);
        return "(none)";
    }
    EXPECT_EQ(attribute.valueEnd + 1, attribute.valueStart + attribute.valueLength);
    return {attribute.valueStart, attribute.valueLength};
}

struct AttributeCase {
    std::string_view text;
    std::string_view value;
};

TEST(GetAttribute, ReadsTheValueBetweenDoubleQuotes) {
    constexpr AttributeCase kCases[] = {
        {"type=\"int\"", "int"},
        {"  type = \n\"int\">", "int"},
        {" id=\"1\" type=\"int\">", "int"},
        {"type=\"\"", ""},
        {"type=\"a 'b' <c>\"", "a 'b' <c>"},
        {"mytype=\"plain text match\"", "plain text match"},
        {"type2=\"1\" type=\"2\"", "2"},
    };
    for (const AttributeCase& c : kCases) {
        EXPECT_EQ(attribute_of(c.text, GetAttribute), c.value) << c.text;
    }
}

TEST(GetAttribute, IsNotFoundWithoutNameSignOrClosedQuotes) {
    for (const std::string_view text :
         {"", "typ", "type", "type ", "type=", "type= ", "type='x'", "type=x", "type \"x\"",
          "type:\"x\"", "type=x\"y\"", "type=\"x", "type=\"", "kind=\"x\""}) {
        EXPECT_EQ(attribute_of(text, GetAttribute), "(none)") << text;
    }
}

TEST(GetAttribute, TheLimitEndsTheSearch) {
    const ExactBlock range("a=\"1\" type=\"xy\"");
    XmlAttribute attribute;
    attribute.searchStart = range.begin();
    attribute.searchEnd = range.end();
    attribute.limit = range.end() - 1;
    EXPECT_EQ(GetAttribute("type", &attribute), kNotFound);
    attribute.limit = range.end();
    attribute.searchEnd = range.begin();
    EXPECT_EQ(GetAttribute("type", &attribute), kOk);
    EXPECT_EQ(attribute.valueLength, 2U);
}

TEST(GetAttributeToEnd, ReadsTheValueUpToTheEndOfTheTag) {
    constexpr AttributeCase kCases[] = {
        {" type=\"int\">", "int"}, {" type=\"a \"quoted\" word\">", "a \"quoted\" word"},
        {" type=\"\">", ""},       {" type=\"", "(none)"},
        {" type=\"x", "(none)"},   {" type=", "(none)"},
    };
    for (const AttributeCase& c : kCases) {
        EXPECT_EQ(attribute_of(c.text, GetAttributeToEnd), c.value) << c.text;
    }
}

constexpr int kValueMax = 8;

struct Parm {
    int rc;
    std::string name;
    std::string type;
    std::string value;

    bool operator==(const Parm&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Parm& parm) {
    return out << parm.rc << " name=" << parm.name << " type=" << parm.type
               << " value=" << parm.value;
}

Parm parm_of(std::string_view text) {
    const ExactBlock element(text);
    char name[kParmNameSize] = "#";
    char type[kParmTypeSize] = "#";
    char value[kValueMax + 1] = "#";
    const int rc = GetNameValueParm(element.begin(), element.end(), name, type, value, kValueMax);
    return {rc, name, type, value};
}

TEST(GetNameValueParm, ReadsOneItemOfTheTypedValueWriters) {
    EXPECT_EQ(parm_of("<name>N</name><value type=\"int\">5</value>"), (Parm{kOk, "N", "int", "5"}));
}

TEST(GetNameValueParm, WithoutANameIsInvalidAndEmpty) {
    EXPECT_EQ(parm_of("<value type=\"int\">5</value>"), (Parm{kInvalid, "", "", ""}));
    EXPECT_EQ(parm_of(""), (Parm{kInvalid, "", "", ""}));
}

TEST(GetNameValueParm, OfTwoValuesTheFirstOneCounts) {
    EXPECT_EQ(parm_of("<value>4</value><name>N</name><value type=\"int\">5</value>"),
              (Parm{kOk, "N", "", "4"}));
}

TEST(GetNameValueParm, WithoutAValueTheValueIsEmpty) {
    EXPECT_EQ(parm_of("<name>N</name>"), (Parm{kOk, "N", "", ""}));
    EXPECT_EQ(parm_of("<name>N</name><value type=\"int\">5"), (Parm{kOk, "N", "", ""}));
    EXPECT_EQ(parm_of("<name>N</name><value type=\"int\"/>"), (Parm{kOk, "N", "int", ""}));
    EXPECT_EQ(parm_of("<name/><value>5</value>"), (Parm{kOk, "", "", "5"}));
}

TEST(GetNameValueParm, WithoutATypeTheTypeIsEmpty) {
    EXPECT_EQ(parm_of("<name>N</name><value>5</value>"), (Parm{kOk, "N", "", "5"}));
    EXPECT_EQ(parm_of("<name>N</name><value>5</value><x type=\"int\">"), (Parm{kOk, "N", "", "5"}));
    EXPECT_EQ(parm_of("<name>N</name><value>type=\"t\"</value>"),
              (Parm{kOk, "N", "", "type=\"t\""}));
}

TEST(GetNameValueParm, AValueLongerThanTheCapacityIsRefused) {
    EXPECT_EQ(parm_of("<name>N</name><value type=\"t\">12345678</value>"),
              (Parm{kOk, "N", "t", "12345678"}));
    EXPECT_EQ(parm_of("<name>N</name><value type=\"t\">123456789</value>"),
              (Parm{kNoMemory, "N", "", ""}));
}

TEST(GetNameValueParm, LongNamesAndTypesAreCut) {
    const Parm parm = parm_of("<name>" + std::string(kParmNameSize, 'n') + "</name><value type=\"" +
                              std::string(kParmTypeSize, 't') + "\">5</value>");
    EXPECT_EQ(parm, (Parm{kOk, std::string(kParmNameSize - 1, 'n'),
                          std::string(kParmTypeSize - 1, 't'), "5"}));
}

TEST(GetNameValueParm, ReadsCdata) {
    EXPECT_EQ(parm_of("<name><![CDATA[<N>]]></name><value type=\"t\"><![CDATA[</v>]]></value>"),
              (Parm{kOk, "<N>", "t", "</v>"}));
}

struct ErrorCase {
    std::string_view reply;
    int code;
    std::string_view text;
};

void expect_errors(std::initializer_list<ErrorCase> cases) {
    for (const ErrorCase& c : cases) {
        const ExactBlock reply(c.reply);
        ErrorText text = "#";
        const auto length = static_cast<uint32_t>(reply.length());
        EXPECT_EQ(CheckForError(length, reply.begin(), &text), c.code) << c.reply;
        EXPECT_EQ(text, c.text) << c.reply;
        EXPECT_EQ(CheckForError(length, reply.begin(), nullptr), c.code) << c.reply;
        EXPECT_EQ(reply.text(), c.reply);
    }
}

TEST(CheckForError, AResultOfZeroIsSuccess) {
    expect_errors(
        {{"<result value=\"0\">", kOk, ""},
         {"<r><result value=\"0\"><description>fine</description></result></r>", kOk, ""}});
}

TEST(CheckForError, AnyOtherNumberIsTheServersCode) {
    expect_errors({{"<result value=\"-5\"><description>no such volume</description>", -5,
                    "-5 no such volume"},
                   {"<result value=\"17\"/>", 17, "17"},
                   {"<result value=\" 17 \"/>", 17, " 17 "},
                   {"<result value=\"00\"/>", 0, "00"}});
}

TEST(CheckForError, ACodeThatIsNotANumberCountsAsSuccess) {
    expect_errors({{"<result value=\"abc\">", kOk, "abc"}, {"<result value=\"\">", kOk, ""}});
}

TEST(CheckForError, AWriteResultIsAWriteError) {
    expect_errors(
        {{"<writeResult><error>disk full</error></writeResult>", kWriteError, "disk full"},
         {"<writeResult></writeResult>", kWriteError, ""},
         {"<error>before</error><writeResult>", kWriteError, ""},
         {"<writeResult><error code=\"1\">x</error>", kWriteError, ""},
         {"<writeResults><error>x</error>", kOk, ""},
         {"<writeResult x=\"1\"><error>x</error>", kOk, ""}});
}

TEST(CheckForError, AReplyWithNeitherIsSuccess) {
    expect_errors({{"", kOk, ""}, {"<a>1</a>", kOk, ""}, {"no markup \" at all", kOk, ""}});
}

TEST(CheckForError, TheResultComesBeforeAWriteResult) {
    expect_errors({{"<writeResult><error>x</error></writeResult><result value=\"0\"/>", kOk, ""}});
}

TEST(CheckForError, TheTagMustReadExactlyResultValue) {
    expect_errors({{"<result  value=\"5\">", kOk, ""},
                   {"<result value =\"5\">", kOk, ""},
                   {"<result id=\"1\" value=\"5\">", kOk, ""},
                   {"<results value=\"5\">", kOk, ""},
                   {"<Result value=\"5\">", kOk, ""},
                   {"result value=\"5\">", kOk, ""},
                   {"< result value=\"5\">", kOk, ""}});
}

TEST(CheckForError, OtherQuotesBeforeAreSkipped) {
    expect_errors({{"<?xml version=\"1.0\"?><reply pid=\"1\"><result value=\"7\">", 7, "7"},
                   {"\"text\"><result value=\"7\">", 7, "7"},
                   {"<<result value=\"7\">", 7, "7"},
                   {"<x a=\"1\" <result value=\"7\"><result value=\"8\">", 8, "8"}});
}

TEST(CheckForError, AValueWithoutItsClosingQuoteIsMalformed) {
    expect_errors({{"<result value=\"", kNotFound, ""}, {"<result value=\"0", kNotFound, ""}});
}

TEST(CheckForError, TheDescriptionFollowsTheResult) {
    expect_errors({{"<description>before</description><result value=\"3\"/>", 3, "3"},
                   {"<result value=\"3\"/><description>after", 3, "3 after"},
                   {"<result value=\"3\"/><description></description>", 3, "3 "},
                   {"<result value=\"3\"/><description lang=\"en\">x</description>", 3, "3"},
                   {"<result value=\"3\"/><descriptions>x</descriptions>", 3, "3"}});
}

TEST(CheckForError, TheErrorTextIsCutToItsSize) {
    const std::string longText(2 * kErrorTextSize, 'x');
    for (const std::string& sample :
         {"<result value=\"3\"><description>" + longText + "</description>",
          "<result value=\"" + longText + "\"><description>d</description>",
          "<writeResult><error>" + longText + "</error>"}) {
        const ExactBlock reply(sample);
        ErrorText text;
        CheckForError(static_cast<uint32_t>(reply.length()), reply.begin(), &text);
        EXPECT_EQ(strlen(text), kErrorTextSize - 1);
    }
}

TEST(CheckForError, NoReplyIsSuccess) {
    ErrorText text = "#";
    EXPECT_EQ(CheckForError(0, nullptr, &text), kOk);
    EXPECT_STREQ(text, "");
}

} // namespace
} // namespace zrp::xml_reader_test
