#include "common/engine/operation.h"

#include <string>
#include <utility>

#include "common/tags.h"
#include "common/xml_writer.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp {
namespace {

constexpr size_t kRoom = 256;

char* build_naming(const char* name, uint32_t* length) {
    XmlDocument document = start_document(kRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::purgeVolume);
    WriteTextElement(document, tag::volumeName, name);
    WriteTrailer(document, tag::purgeVolume, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int run_naming(const char* name, ErrorText* errorText, const LogContext* log, Reply* reply) {
    uint32_t length = 0;
    HeapText request(build_naming(name, &length));
    return run_operation(std::move(request), length, errorText, log, reply);
}

using RunOperation = OperationTest;

TEST_F(RunOperation, HandsOverTheReply) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r>1</r>"))}});
    Reply answer;
    ErrorText errorText = "x";
    EXPECT_EQ(run_naming("DATA", &errorText, log, &answer), kOk);
    EXPECT_EQ(std::string(answer.text.get(), static_cast<size_t>(answer.length)), "<r>1</r>");
    EXPECT_STREQ(errorText, "");
    EXPECT_EQ(document_of(peer.requests().at(0)),
              "<zrpConsoleRequest pid=\"PID\"><purgeVolume>\n<volumeName>DATA</volumeName>\n"
              "</purgeVolume></zrpConsoleRequest>");
    EXPECT_EQ(contents(), "");
}

TEST_F(RunOperation, TheLogGetsRequestAndReply) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r>1</r>"))}});
    operations().SetLogLevel(kLogDump);
    Reply answer;
    EXPECT_EQ(run_naming("DATA", nullptr, log, &answer), kOk);
    const std::string request = peer.requests().at(0).substr(sizeof(RequestHeader));
    EXPECT_EQ(contents(), "[* TIME] <ldump len=\"" + std::to_string(request.size()) + "\">\n" +
                              request + "\n</ldump>\n" +
                              "[* TIME] <ldump len=\"8\">\n<r>1</r>\n</ldump>\n");
}

TEST_F(RunOperation, EachFaultHasItsCodeAndItsLine) {
    expect_faults(kMainDaemonSocket,
                  [](ErrorText* errorText, LogContext* to) {
                      Reply answer;
                      return run_naming("DATA", errorText, to, &answer);
                  },
                  {kOk, ""});
}

TEST_F(RunOperation, WithoutADefaultPeerNothingIsTried) {
    IPCServTerm();
    Reply answer;
    EXPECT_EQ(run_naming("DATA", nullptr, log, &answer), kInvalid);
    EXPECT_EQ(contents(), "[! TIME] IPCServRequest rc=22\n");
}

TEST_F(RunOperation, WithoutMemoryForTheRequestTheLogSaysSo) {
    const FailingMalloc failing(kRoom);
    Reply answer;
    EXPECT_EQ(run_naming("DATA", nullptr, log, &answer), kNoMemory);
    EXPECT_EQ(contents(), "[! TIME] failed to allocate request buffer ENOMEM\n");
    EXPECT_EQ(run_naming("DATA", nullptr, nullptr, &answer), kNoMemory);
}

TEST_F(RunOperation, ATextThatWouldBreakTheDocumentIsNotSent) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r/>"))}});
    Reply answer;
    for (const char* name : {"A</volumeName>", "A\x01", "<", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(run_naming(name, nullptr, log, &answer), kInvalid);
    }
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(RunOperation, AnEmptyReplyIsNoError) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(""))}});
    Reply answer;
    EXPECT_EQ(run_naming("DATA", nullptr, log, &answer), kOk);
    EXPECT_EQ(answer.length, 0);
}

using VolumeName = OperationTest;

TEST_F(VolumeName, FifteenCharactersAreTakenAndSixteenAreNot) {
    EXPECT_EQ(check_volume_name("ABCDEFGHIJKLMNO", log), kOk);
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(check_volume_name("ABCDEFGHIJKLMNOP", log), kNameTooLong);
    EXPECT_EQ(contents(), "[i TIME] Supported Volume name max length 15\n");
    EXPECT_EQ(check_volume_name("ABCDEFGHIJKLMNOP", nullptr), kNameTooLong);
    EXPECT_EQ(check_volume_name(nullptr, log), kInvalid);
}

TEST(FindCommand, LooksInsideTheEnvelope) {
    struct Row {
        std::string text;
        int code;
    };
    const Row rows[] = {
        {"  \n<zrpConsoleReply><threads>1</threads></zrpConsoleReply>", kOk},
        {"<zrpConsoleReply><threads/></zrpConsoleReply>", kOk},
        {"<zrpConsoleReply></zrpConsoleReply><threads>1</threads>", kInvalid},
        {"<zrpConsoleReply/><threads>1</threads>", kInvalid},
        {"<other><threads>1</threads></other>", kInvalid},
        {"", kInvalid},
    };
    for (Row row : rows) {
        XmlElement element;
        EXPECT_EQ(find_command(row.text.data(), static_cast<int>(row.text.size()), tag::threads,
                               &element),
                  row.code)
            << row.text;
    }
    XmlElement element;
    EXPECT_EQ(find_command(nullptr, 5, tag::threads, &element), kInvalid);
    char text[] = "<zrpConsoleReply>";
    EXPECT_EQ(find_command(text, -1, tag::threads, &element), kInvalid);
}

TEST(Sendable, OrdinaryTextAndEntitiesAreSent) {
    for (const char* text :
         {"", "DATA", "R&amp;D",
          "Gr\xC3\xB6\xC3\x9F"
          "e",
          "a > b", "line 1\r\n\tline 2", "\x7F", "\"'", "&amp;&lt;&gt;&quot;&apos;",
          "&#9;&#10;&#13;&#32;&#0228;&#xe4;&#xE4;&#x10FFFF;&#xD7FF;&#xE000;"}) {
        EXPECT_TRUE(is_sendable(text)) << text;
        XmlDocument document = start_document(kRoom);
        EXPECT_GT(WriteTextElement(document, tag::name, text), 0);
        EXPECT_EQ(std::string(document.text.get()), "<name>" + std::string(text) + "</name>");
    }
}

TEST(Sendable, ANameOutOfAReplyMayHoldAnyAmpersand) {
    for (const char* text : {"R&D", "&", "&#0;", "&nbsp;", "R&amp;D", ""}) {
        XmlDocument document = start_document(kRoom);
        EXPECT_GT(WriteReceivedName(document, tag::name, text), 0);
        EXPECT_EQ(std::string(document.text.get()), "<name>" + std::string(text) + "</name>");
    }
    for (const char* text : {"<", "a\x1F", static_cast<const char*>(nullptr)}) {
        XmlDocument document = start_document(kRoom);
        EXPECT_EQ(WriteReceivedName(document, tag::name, text), 0);
        uint32_t length = 77;
        errno = 0;
        EXPECT_EQ(finish_document(document, &length), nullptr);
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
        EXPECT_FALSE(is_sendable(text));
        XmlDocument documents[4];
        for (XmlDocument& document : documents) {
            document = start_document(kRoom);
        }
        EXPECT_EQ(WriteTextElement(documents[0], tag::name, text), 0);
        EXPECT_EQ(WriteNumberedParameter(documents[1], tag::parm, 0, text), 0);
        EXPECT_EQ(WriteParmString(documents[2], text, "string", "v"), 0);
        EXPECT_EQ(WriteParmString(documents[3], "n", "string", text), 0);
        for (XmlDocument& document : documents) {
            uint32_t length = 77;
            errno = 0;
            EXPECT_EQ(finish_document(document, &length), nullptr);
            EXPECT_EQ(errno, EINVAL);
            EXPECT_EQ(length, 77U);
        }
    }
}

TEST(Sendable, WhatDoesNotFitIsAMatterOfMemory) {
    XmlDocument document = start_document(12);
    WriteTextElement(document, tag::name, "abcdefgh");
    uint32_t length = 0;
    errno = 0;
    EXPECT_EQ(finish_document(document, &length), nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

} // namespace
} // namespace zrp
