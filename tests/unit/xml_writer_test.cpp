#include "common/xml_writer.h"

#include <climits>
#include <cstdint>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/tags.h"

namespace zrp::xml_writer_test {
namespace {

constexpr size_t kRoom = 512;

// Returns the text of a finished document and checks its length.
std::string text_of(XmlDocument& document) {
    uint32_t length = 0;
    const HeapText text(FinishDocument(document, &length));
    if (text == nullptr) {
        return "(none)";
    }
    EXPECT_EQ(strlen(text.get()), length);
    return text.get();
}

// Returns the text that one writer appends.
template <typename Writer, typename... Arguments>
std::string written(Writer writer, Arguments... arguments) {
    XmlDocument document = StartDocument(kRoom);
    const int count = writer(document, arguments...);
    const std::string text = text_of(document);
    EXPECT_EQ(static_cast<size_t>(count), text.size());
    return text;
}

std::string pid() {
    return std::to_string(getpid());
}

TEST(WriteChildless, IsOneLineWithThePid) {
    const std::string text = written(WriteChildless, tag::zrpConsoleRequest, tag::threads);
    EXPECT_EQ(text, "<zrpConsoleRequest pid=\"" + pid() + "\"><threads/></zrpConsoleRequest>");
    // With a process id of four digits the document has sixty characters.
    EXPECT_EQ(text.size() - pid().size() + 4, 60U);
}

TEST(WriteHead, EndsInANewline) {
    EXPECT_EQ(written(WriteHead, tag::zrpConsoleRequest, tag::serverStatistics),
              "<zrpConsoleRequest pid=\"" + pid() + "\"><serverStatistics>\n");
}

TEST(WriteTrailer, BeginsWithANewline) {
    EXPECT_EQ(written(WriteTrailer, tag::serverStatistics, tag::zrpConsoleRequest),
              "\n</serverStatistics></zrpConsoleRequest>");
}

TEST(Document, ACommandWithChildren) {
    XmlDocument document = StartDocument(kRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::serverStatistics);
    WriteIntElement(document, tag::versionTag, 1);
    WriteTrailer(document, tag::serverStatistics, tag::zrpConsoleRequest);
    EXPECT_EQ(text_of(document), "<zrpConsoleRequest pid=\"" + pid() +
                                     "\"><serverStatistics>\n<versionTag>1</versionTag>\n"
                                     "</serverStatistics></zrpConsoleRequest>");
}

TEST(Document, ACommandWithoutChildrenKeepsBothNewlines) {
    XmlDocument document = StartDocument(kRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::threads);
    WriteTrailer(document, tag::threads, tag::zrpConsoleRequest);
    EXPECT_EQ(text_of(document), "<zrpConsoleRequest pid=\"" + pid() +
                                     "\"><threads>\n\n</threads></zrpConsoleRequest>");
}

TEST(Document, TheDiagnosticsDocumentRepeatsItsOuterTag) {
    XmlDocument document = StartDocument(kRoom);
    const char* outer = diagnostic::zrp2bksDiagnosticRequest;
    WriteHead(document, outer, outer);
    WriteTrailer(document, outer, outer);
    EXPECT_EQ(text_of(document), "<zrp2bksDiagnosticRequest pid=\"" + pid() +
                                     "\"><zrp2bksDiagnosticRequest>\n\n"
                                     "</zrp2bksDiagnosticRequest></zrp2bksDiagnosticRequest>");
}

TEST(ElementWriters, WriteTheirFormats) {
    EXPECT_EQ(written(WriteTextElement, "path", "/a b"), "<path>/a b</path>");
    EXPECT_EQ(written(WriteIntElement, "n", INT32_MIN), "<n>-2147483648</n>");
    EXPECT_EQ(written(WriteUIntElement, "n", UINT32_MAX), "<n>4294967295</n>");
    EXPECT_EQ(written(WriteHexElement, "n", 0xABCDEFU), "<n>0xabcdef</n>");
    EXPECT_EQ(written(WriteHexElement, "n", 0U), "<n>0x0</n>");
    EXPECT_EQ(written(WriteEmptyElement, "all"), "<all/>");
    EXPECT_EQ(written(WriteOpenGroup, "volume"), "<volume>");
    EXPECT_EQ(written(WriteCloseGroup, "volume"), "</volume>");
}

TEST(WriteNumberedParameter, OnlyTheOpeningTagHasTheIndex) {
    EXPECT_EQ(written(WriteNumberedParameter, diagnostic::parm, 2, "x"), "<parm2>x</parm>\n");
    EXPECT_EQ(written(WriteNumberedParameter, diagnostic::parm, 0, ""), "<parm0></parm>\n");
}

std::string parm(const std::string& type, const std::string& value) {
    return "<parm><name>N</name><value type=\"" + type + "\">" + value + "</value></parm>\n";
}

TEST(TypedValueWriters, WriteTypeAndValue) {
    EXPECT_EQ(written(WriteParmString, "N", "ipv4", "127.0.0.1"), parm("ipv4", "127.0.0.1"));
    EXPECT_EQ(written(WriteParmTypedUInt, "N", "time", UINT32_MAX), parm("time", "4294967295"));
    EXPECT_EQ(written(WriteParmUInt, "N", UINT32_MAX), parm("unsignedInt", "4294967295"));
    EXPECT_EQ(written(WriteParmInt, "N", INT32_MIN), parm("int", "-2147483648"));
    EXPECT_EQ(written(WriteParmULong, "N", UINT64_MAX),
              parm("unsignedLong", "18446744073709551615"));
    EXPECT_EQ(written(WriteParmLong, "N", INT64_MIN), parm("long", "-9223372036854775808"));
}

TEST(WriteParmBool, IsOneForAnyValueExceptZero) {
    EXPECT_EQ(written(WriteParmBool, "N", 7), parm("boolean", "1"));
    EXPECT_EQ(written(WriteParmBool, "N", INT_MIN), parm("boolean", "1"));
    EXPECT_EQ(written(WriteParmBool, "N", 0), parm("boolean", "0"));
}

TEST(Document, FillsItsCapacityToTheLastByte) {
    XmlDocument document = StartDocument(sizeof "<ab/>");
    EXPECT_EQ(WriteEmptyElement(document, "ab"), 5);
    EXPECT_EQ(text_of(document), "<ab/>");
}

TEST(Document, OneByteTooManyFinishesAsNull) {
    XmlDocument document = StartDocument(sizeof "<ab/>" - 1);
    EXPECT_EQ(WriteEmptyElement(document, "ab"), 0);
    EXPECT_TRUE(document.failed);
    uint32_t length = 7;
    EXPECT_EQ(FinishDocument(document, &length), nullptr);
    EXPECT_EQ(length, 7U);
}

TEST(Document, NothingIsWrittenAfterAFailure) {
    XmlDocument document = StartDocument(8);
    EXPECT_EQ(WriteOpenGroup(document, "abc"), 5);
    EXPECT_EQ(WriteOpenGroup(document, "abc"), 0);
    EXPECT_EQ(WriteOpenGroup(document, ""), 0);
    EXPECT_STREQ(document.text.get(), "<abc>");
    EXPECT_EQ(text_of(document), "(none)");
}

TEST(Document, WithoutRoomFinishesAsNull) {
    XmlDocument document = StartDocument(0);
    EXPECT_EQ(WriteOpenGroup(document, "a"), 0);
    EXPECT_EQ(text_of(document), "(none)");
}

TEST(Sendable, OrdinaryTextAndEntitiesAreSent) {
    for (const char* text :
         {"", "DATA", "R&amp;D",
          "Gr\xC3\xB6\xC3\x9F"
          "e",
          "a > b", "line 1\r\n\tline 2", "\x7F", "\"'", "&amp;&lt;&gt;&quot;&apos;",
          "&#9;&#10;&#13;&#32;&#0228;&#xe4;&#xE4;&#x10FFFF;&#xD7FF;&#xE000;"}) {
        EXPECT_TRUE(IsSendable(text)) << text;
        XmlDocument document = StartDocument(256);
        EXPECT_GT(WriteTextElement(document, tag::name, text), 0);
        EXPECT_EQ(std::string(document.text.get()), "<name>" + std::string(text) + "</name>");
    }
}

TEST(Sendable, ANameOutOfAReplyMayHoldAnyAmpersand) {
    for (const char* text : {"R&D", "&", "&#0;", "&nbsp;", "R&amp;D", ""}) {
        XmlDocument document = StartDocument(256);
        EXPECT_GT(WriteReceivedName(document, tag::name, text), 0);
        EXPECT_EQ(std::string(document.text.get()), "<name>" + std::string(text) + "</name>");
    }
    for (const char* text : {"<", "a\x1F", static_cast<const char*>(nullptr)}) {
        XmlDocument document = StartDocument(256);
        EXPECT_EQ(WriteReceivedName(document, tag::name, text), 0);
        uint32_t length = 77;
        errno = 0;
        EXPECT_EQ(FinishDocument(document, &length), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST(Sendable, MarkupAndControlCharactersEndTheDocument) {
    for (const char* text : {"<",
                             "a<b",
                             "\x01",
                             "a\x1F",
                             "\x0B",
                             "\x1B[31m",
                             "R&D",
                             "&",
                             "a&",
                             "&amp",
                             "&Amp;",
                             "&nbsp;",
                             "& amp;",
                             "&&amp;",
                             "&#",
                             "&#;",
                             "&#12",
                             "&#x;",
                             "&#xG;",
                             "&#X41;",
                             "&#-65;",
                             "&#+65;",
                             "&# 65;",
                             "&#65 ;",
                             "&#0;",
                             "&#1;",
                             "&#x1F;",
                             "&#xD800;",
                             "&#xDFFF;",
                             "&#xFFFE;",
                             "&#xFFFF;",
                             "&#x110000;",
                             "&#99999999999999999999;",
                             static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(IsSendable(text));
        XmlDocument documents[4];
        for (XmlDocument& document : documents) {
            document = StartDocument(256);
        }
        EXPECT_EQ(WriteTextElement(documents[0], tag::name, text), 0);
        EXPECT_EQ(WriteNumberedParameter(documents[1], tag::parm, 0, text), 0);
        EXPECT_EQ(WriteParmString(documents[2], text, "string", "v"), 0);
        EXPECT_EQ(WriteParmString(documents[3], "n", "string", text), 0);
        for (XmlDocument& document : documents) {
            uint32_t length = 77;
            errno = 0;
            EXPECT_EQ(FinishDocument(document, &length), nullptr);
            EXPECT_EQ(errno, EINVAL);
            EXPECT_EQ(length, 77U);
        }
    }
}

TEST(TypedValueWriters, ATypeThatWouldBreakTheDocumentEndsIt) {
    for (const char* type : {"a\"b", "\"", "<", "R&D", "\x01", static_cast<const char*>(nullptr)}) {
        XmlDocument documents[2];
        for (XmlDocument& document : documents) {
            document = StartDocument(256);
        }
        EXPECT_EQ(WriteParmString(documents[0], "N", type, "v"), 0);
        EXPECT_EQ(WriteParmTypedUInt(documents[1], "N", type, 1), 0);
        for (XmlDocument& document : documents) {
            uint32_t length = 77;
            errno = 0;
            EXPECT_EQ(FinishDocument(document, &length), nullptr);
            EXPECT_EQ(errno, EINVAL);
        }
    }
    EXPECT_EQ(written(WriteParmString, "N", "a&amp;'b'", "v"), parm("a&amp;'b'", "v"));
}

TEST(Sendable, WhatDoesNotFitIsAMatterOfMemory) {
    XmlDocument document = StartDocument(12);
    WriteTextElement(document, tag::name, "abcdefgh");
    uint32_t length = 0;
    errno = 0;
    EXPECT_EQ(FinishDocument(document, &length), nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

} // namespace
} // namespace zrp::xml_writer_test
