#include "common/engine/command.h"

#include <string>
#include <utility>

#include "common/heap_text.h"
#include "common/tags.h"
#include "common/xml_writer.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::command_test {
namespace {

constexpr size_t kRoom = 256;

char* build_naming(const char* name, uint32_t* length) {
    XmlDocument document = StartDocument(kRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::purgeVolume);
    WriteTextElement(document, tag::volumeName, name);
    WriteTrailer(document, tag::purgeVolume, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int send_naming(const char* name, ErrorText* errorText, const LogContext* log, Reply* reply) {
    uint32_t length = 0;
    HeapText request(build_naming(name, &length));
    return send_document(std::move(request), length, {errorText, log}, reply);
}

using SendDocument = OperationTest;

TEST_F(SendDocument, HandsOverTheReply) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r>1</r>"))}});
    Reply answer;
    ErrorText errorText = "x";
    EXPECT_EQ(send_naming("DATA", &errorText, log, &answer), kOk);
    EXPECT_EQ(std::string(answer.text.get(), static_cast<size_t>(answer.length)), "<r>1</r>");
    EXPECT_STREQ(errorText, "");
    EXPECT_EQ(document_of(peer.requests().at(0)),
              "<zrpConsoleRequest pid=\"PID\"><purgeVolume>\n<volumeName>DATA</volumeName>\n"
              "</purgeVolume></zrpConsoleRequest>");
    EXPECT_EQ(contents(), "");
}

TEST_F(SendDocument, TheLogGetsRequestAndReply) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r>1</r>"))}});
    operations().SetLogLevel(kLogDump);
    Reply answer;
    EXPECT_EQ(send_naming("DATA", nullptr, log, &answer), kOk);
    const std::string request = peer.requests().at(0).substr(sizeof(RequestHeader));
    EXPECT_EQ(contents(), "[* TIME] <ldump len=\"" + std::to_string(request.size()) + "\">\n" +
                              request + "\n</ldump>\n" +
                              "[* TIME] <ldump len=\"8\">\n<r>1</r>\n</ldump>\n");
}

TEST_F(SendDocument, EachFaultHasItsCodeAndItsLine) {
    expect_faults(kMainDaemonSocket,
                  [](ErrorText* errorText, LogContext* to) {
                      Reply answer;
                      return send_naming("DATA", errorText, to, &answer);
                  },
                  {kOk, ""});
}

TEST_F(SendDocument, WithoutADefaultPeerNothingIsTried) {
    IPCServTerm();
    Reply answer;
    EXPECT_EQ(send_naming("DATA", nullptr, log, &answer), kInvalid);
    EXPECT_EQ(contents(), "[! TIME] IPCServRequest rc=22\n");
}

TEST_F(SendDocument, WithoutMemoryForTheRequestTheLogSaysSo) {
    const FailingMalloc failing(kRoom);
    Reply answer;
    EXPECT_EQ(send_naming("DATA", nullptr, log, &answer), kNoMemory);
    EXPECT_EQ(contents(), "[! TIME] failed to allocate request buffer ENOMEM\n");
    EXPECT_EQ(send_naming("DATA", nullptr, nullptr, &answer), kNoMemory);
}

TEST_F(SendDocument, ATextThatWouldBreakTheDocumentIsNotSent) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r/>"))}});
    Reply answer;
    for (const char* name : {"A</volumeName>", "A\x01", "<", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(send_naming(name, nullptr, log, &answer), kInvalid);
    }
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(SendDocument, AnEmptyReplyIsNoError) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(""))}});
    Reply answer;
    EXPECT_EQ(send_naming("DATA", nullptr, log, &answer), kOk);
    EXPECT_EQ(answer.length, 0);
}

using CheckVolumeName = OperationTest;

TEST_F(CheckVolumeName, FifteenCharactersAreTakenAndSixteenAreNot) {
    EXPECT_EQ(check_volume_name("ABCDEFGHIJKLMNO", log), kOk);
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(check_volume_name("ABCDEFGHIJKLMNOP", log), kNameTooLong);
    EXPECT_EQ(contents(), "[i TIME] Supported Volume name max length 15\n");
    EXPECT_EQ(check_volume_name("ABCDEFGHIJKLMNOP", nullptr), kNameTooLong);
    EXPECT_EQ(check_volume_name(nullptr, log), kInvalid);
}

TEST_F(CheckVolumeName, AReferenceCountsAsTheBytesThatItStandsFor) {
    EXPECT_EQ(check_volume_name("AT&amp;T_VOLUME_01", log), kOk); // 14
    EXPECT_EQ(check_volume_name("&amp;&lt;&gt;&quot;&apos;FGHIJKLMNO", log), kOk);
    EXPECT_EQ(check_volume_name("&#65;&#x42;CDEFGHIJKLMNO", log), kOk);
    EXPECT_EQ(check_volume_name("&#228;&#8364;&#x1F600;DEFGHI", log), kOk); // 2, 3 and 4 bytes
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(check_volume_name("&amp;BCDEFGHIJKLMNOP", log), kNameTooLong);
    EXPECT_EQ(check_volume_name("&#228;&#8364;&#x1F600;DEFGHIJ", log), kNameTooLong);
    // What is no reference counts as it is.
    EXPECT_EQ(check_volume_name("&nbsp;GHIJKLMNO", log), kOk);
    EXPECT_EQ(check_volume_name("&nbsp;GHIJKLMNOP", log), kNameTooLong);
    EXPECT_EQ(check_volume_name("&#1;EFGHIJKLMNOP", log), kNameTooLong);
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

struct Pair {
    char name[8];
    int32_t number;
};

constexpr ReplyField kPair[] = {
    ZRP_FIELD(tag::name, kText, Pair, name),
    ZRP_FIELD(tag::id, kDecimal, Pair, number),
};

constexpr RequestField kNumbersAndText[] = {
    {tag::grant, RequestField::kUnsigned},
    {tag::id, RequestField::kSigned},
    {tag::name, RequestField::kText},
};
constexpr RequestField kName[] = {{tag::name, RequestField::kText}};
constexpr RequestField kNames[] = {
    {tag::name, RequestField::kText},
    {tag::path, RequestField::kText},
};
constexpr RequestField kOptional[] = {
    {tag::name, RequestField::kOptionalText},
    {tag::volumeName, RequestField::kOptionalVolumeName},
    {tag::id, RequestField::kCount},
};
constexpr RequestField kVolumes[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::shadowVolName, RequestField::kOptionalVolumeName},
};

constexpr Command kPlain = {tag::evaluate, nullptr, kNumbersAndText, kPair};
constexpr Command kGrouped = {tag::evaluate, tag::modify, kName, kPair};
constexpr Command kOnVolumes = {tag::evaluate, nullptr, kVolumes, kPair};

std::string document(const Command& command, RequestValues values) {
    uint32_t length = 0;
    char* text = build_command(command, values, &length);
    return built(text, length);
}

TEST(BuildCommand, ChildrenAreInTheOrderOfTheTable) {
    EXPECT_EQ(document(kPlain, {UINT32_MAX, -1, "x"}),
              request_with("evaluate", "<grant>4294967295</grant><id>-1</id><name>x</name>"));
    EXPECT_EQ(document(kGrouped, {"x"}),
              request_with("evaluate", "<modify><name>x</name></modify>"));
}

TEST(BuildCommand, WithoutFieldsTheRequestIsChildless) {
    EXPECT_EQ(document({tag::evaluate}, {}),
              "<zrpConsoleRequest pid=\"PID\"><evaluate/></zrpConsoleRequest>");
}

TEST(BuildCommand, OptionalChildrenMayBeAbsent) {
    constexpr Command kCommand = {tag::evaluate, nullptr, kOptional};
    EXPECT_EQ(document(kCommand, {nullptr, nullptr, 0}), request_with("evaluate", ""));
    EXPECT_EQ(document(kCommand, {"", "V", 5}),
              request_with("evaluate", "<name></name><volumeName>V</volumeName><id>5</id>"));
    EXPECT_EQ(document(kPlain, {1U, 1, nullptr}), "(null)");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(document(kOnVolumes, {nullptr, nullptr}), "(null)");
    EXPECT_EQ(errno, EINVAL);
}

// The sizes that requests must have: a room of about 250 bytes beside the texts.
TEST(RequestRoom, GrowsWithTheTexts) {
    EXPECT_EQ(request_room(0, 0), 256U);
    EXPECT_EQ(request_room(1, strlen("DATA")), strlen("DATA") + 1 + 254);
    EXPECT_EQ(request_room(2, 4 + 6), (4 + 1) + (6 + 1) + 252U);
}

TEST(BuildCommand, TakesTheRoomOfItsTexts) {
    const FailingMalloc failing(strlen("DATA") + strlen("/m") + 254);
    EXPECT_EQ(document({tag::evaluate, nullptr, kNames}, {"DATA", "/m"}), "(null)");
    EXPECT_EQ(errno, ENOMEM);
}

TEST(BuildCommand, TakesTheRoomThatTheCommandSays) {
    constexpr Command kSmall = {tag::evaluate, nullptr, kName, {}, 512};
    const std::string longest(400, 'x');
    EXPECT_NE(document(kSmall, {longest.c_str()}), "(null)");
    EXPECT_EQ(document(kSmall, {(longest + longest).c_str()}), "(null)");
    EXPECT_EQ(errno, ENOMEM);
}

TEST(ScanCommand, ARecordIsFilledWholeOrNotAtAll) {
    for (const Command& command : {kPlain, kGrouped}) {
        const std::string pair = "<id>5</id><name>x</name>";
        const std::string half = "<name>x</name><id/>";
        const bool isGrouped = command.group != nullptr;
        const auto wrap = [&](const std::string& content) {
            return reply_with("evaluate", isGrouped ? "<modify>" + content + "</modify>" : content);
        };
        for (const std::string& text : {wrap(pair), wrap(half), wrap("")}) {
            Pair record = {"old", 77};
            const int rc = scan_command(command, ExactBlock(text).begin(),
                                        static_cast<int>(text.size()), &record);
            EXPECT_EQ(rc, text == wrap(pair) ? int{kOk} : int{kInvalid}) << text;
            EXPECT_STREQ(record.name, rc == kOk ? "x" : "old");
            EXPECT_EQ(record.number, rc == kOk ? 5 : 77);
        }
    }
}

TEST(ScanCommand, ATextInACdataSectionMayLookLikeMarkup) {
    const std::string text =
        reply_with("evaluate", "<name><![CDATA[a<b]]></name><id><![CDATA[5]]></id>");
    const ExactBlock copy(text);
    Pair record = {"old", 77};
    EXPECT_EQ(scan_command(kPlain, copy.begin(), static_cast<int>(text.size()), &record), kOk);
    EXPECT_STREQ(record.name, "a<b");
    EXPECT_EQ(record.number, 5);
}

using RunCommand = CatalogueTest;

TEST_F(RunCommand, SendsAndReadsTheReply) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({reply_with("evaluate", "<name>x</name><id>5</id>")}));
    Pair record = {};
    EXPECT_EQ(run_command(kOnVolumes, {"DATA", nullptr}, {nullptr, log}, &record), kOk);
    EXPECT_EQ(record.number, 5);
    EXPECT_EQ(document_of(peer.requests().at(0)),
              request_with("evaluate", "<volumeName>DATA</volumeName>"));
}

TEST_F(RunCommand, ALongNameOfAVolumeIsNotSent) {
    Pair record = {};
    const std::pair<const char*, const char*> refused[] = {{kTooLongName, nullptr},
                                                           {"DATA", kTooLongName}};
    for (const auto& [name, shadow] : refused) {
        expect_not_sent(
            [&, name = name, shadow = shadow](LogContext* to) {
                return run_command(kOnVolumes, {name, shadow}, {nullptr, to}, &record);
            },
            kNameTooLong, "[i TIME] Supported Volume name max length 15\n");
    }
    expect_not_sent(
        [&](LogContext* to) {
            return run_command(kOnVolumes, {nullptr, nullptr}, {nullptr, to}, &record);
        },
        kInvalid);
}

TEST_F(RunCommand, ANullRecordIsNotSent) {
    Pair* const none = nullptr;
    expect_not_sent(
        [&](LogContext* to) {
            return run_command(kOnVolumes, {"DATA", nullptr}, {nullptr, to}, none);
        },
        kInvalid);
}

} // namespace
} // namespace zrp::command_test
