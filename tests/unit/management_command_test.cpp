#include "common/engine/management_command.h"

#include "tests/unit/catalogue_fixture.h"

namespace zrp {
namespace {

struct Pair {
    char name[8];
    int32_t number;
};

constexpr ReplyField kPair[] = {
    ZRP_FIELD(tag::name, kText, Pair, name),
    ZRP_FIELD(tag::id, kDecimal, Pair, number),
};

constexpr ManagementCommand kPlain = {tag::evaluate, nullptr, kPair};
constexpr ManagementCommand kGrouped = {tag::evaluate, tag::modify, kPair};
constexpr ManagementList kList = {management_list(tag::evaluate, tag::user), kPair};

std::string document(const ManagementCommand& command,
                     std::initializer_list<RequestChild> children) {
    uint32_t length = 0;
    char* text = build_command(command, children, &length);
    return built(text, length);
}

TEST(BuildCommand, ChildrenStandInTheirOrder) {
    EXPECT_EQ(document(kPlain, {unsigned_child(tag::grant, UINT32_MAX), signed_child(tag::id, -1),
                                text_child(tag::name, "x")}),
              request_with("evaluate", "<grant>4294967295</grant><id>-1</id><name>x</name>"));
    EXPECT_EQ(document(kGrouped, {text_child(tag::name, "x")}),
              request_with("evaluate", "<modify><name>x</name></modify>"));
    EXPECT_EQ(document(kPlain, {}), request_with("evaluate", ""));
}

TEST(BuildCommand, OptionalChildrenMayBeAbsent) {
    EXPECT_EQ(document(kPlain, {optional_text_child(tag::name, nullptr), count_child(tag::id, 0)}),
              request_with("evaluate", ""));
    EXPECT_EQ(document(kPlain, {optional_text_child(tag::name, ""), count_child(tag::id, 5)}),
              request_with("evaluate", "<name></name><id>5</id>"));
    EXPECT_EQ(document(kPlain, {text_child(tag::name, nullptr)}), "(null)");
    EXPECT_EQ(errno, EINVAL);
}

// The sizes that requests are told to take: a room of about 250 bytes beside the texts.
TEST(RequestRoom, GrowsWithTheTexts) {
    EXPECT_EQ(request_room(0, 0), 256U);
    EXPECT_EQ(request_room(1, strlen("DATA")), strlen("DATA") + 1 + 254);
    EXPECT_EQ(request_room(2, 4 + 6), (4 + 1) + (6 + 1) + 252U);
}

TEST(BuildCommand, TakesTheRoomOfItsTexts) {
    const FailingMalloc failing(strlen("DATA") + strlen("/m") + 254);
    EXPECT_EQ(document(kPlain, {text_child(tag::name, "DATA"), text_child(tag::path, "/m")}),
              "(null)");
    EXPECT_EQ(errno, ENOMEM);
}

TEST(ScanCommand, ARecordIsFilledWholeOrNotAtAll) {
    for (const ManagementCommand& command : {kPlain, kGrouped}) {
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

TEST(ScanNext, TheEndIsToldFromAMalformedItem) {
    const std::string text =
        reply_with("evaluate", "<user><name>x</name><id>5</id></user><user><name>y</name></user>");
    const ExactBlock copy(text);
    const auto length = static_cast<int>(text.size());
    Pair record = {"old", 77};
    int offset = 0;
    EXPECT_EQ(scan_next(kList, copy.begin(), length, &offset, &record), kOk);
    const int behindFirst = offset;
    EXPECT_EQ(scan_next(kList, copy.begin(), length, &offset, &record), kInvalid);
    EXPECT_EQ(offset, behindFirst);
    EXPECT_STREQ(record.name, "x");
    offset = length - 20;
    EXPECT_EQ(scan_next(kList, copy.begin(), length, &offset, &record), kRange);
    offset = length;
    EXPECT_EQ(scan_next(kList, copy.begin(), length, &offset, &record), kRange);
    offset = -1;
    EXPECT_EQ(scan_next(kList, copy.begin(), length, &offset, &record), kRange);
}

using ReplyStart = CatalogueTest;

TEST_F(ReplyStart, OnlyAReplyWithoutTheEnvelopeIsLogged) {
    std::string whole = reply_with("evaluate", "");
    log_reply_start(whole.data(), static_cast<int>(whole.size()), log);
    log_reply_start(whole.data(), static_cast<int>(whole.size()) - 1, nullptr);
    EXPECT_EQ(contents(), "");
    log_reply_start(whole.data(), static_cast<int>(whole.size()) - 1, log);
    log_reply_start(nullptr, 5, log);
    log_reply_start(whole.data(), -1, log);
    EXPECT_EQ(contents(), "[! TIME] error from reply start\n"
                          "[! TIME] error from reply start\n"
                          "[! TIME] error from reply start\n");
}

} // namespace
} // namespace zrp
