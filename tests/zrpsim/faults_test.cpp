#include "tools/zrpsim/faults.h"

#include <cstring>

#include <gtest/gtest.h>

#include "common/transport.h"

namespace zrp::sim::faults_test {
namespace {

const std::string kBody = "<zrpConsoleReply><a>1</a><b>2</b></zrpConsoleReply>";

Delivery damaged(const std::string& fault) {
    std::vector<Fault> faults;
    EXPECT_EQ(read_fault(fault, faults), "");
    Delivery delivery = make_delivery(kMainDaemonRequest, kBody);
    if (!faults.empty())
        faults.front().kind->damage(delivery);
    return delivery;
}

ReplyHeader header_of(const Delivery& delivery) {
    ReplyHeader header{};
    EXPECT_EQ(delivery.header.size(), sizeof header);
    std::memcpy(&header, delivery.header.data(), std::min(delivery.header.size(), sizeof header));
    return header;
}

TEST(Faults, AnUndamagedReplyHasMagicLengthAndNoStatus) {
    const ReplyHeader header = header_of(make_delivery(kMainDaemonRequest, kBody));
    EXPECT_EQ(header.magic, kMagic);
    EXPECT_EQ(header.length, kBody.size());
    EXPECT_EQ(header.status, 0U);
}

TEST(Faults, HangSendsNothing) {
    EXPECT_TRUE(damaged("hang").silent);
}

TEST(Faults, DripKeepsTheHeaderWhole) {
    EXPECT_EQ(damaged("drip").headerPiece, 0U);
    EXPECT_EQ(damaged("drip").bodyPiece, 1U);
    EXPECT_EQ(damaged("drip-header").headerPiece, 4U);
}

TEST(Faults, ShortHeaderSendsEightBytes) {
    EXPECT_EQ(damaged("short-header").header.size(), 8U);
    EXPECT_EQ(damaged("short-header").body, "");
}

TEST(Faults, TheMagicIsWrongOrSwapped) {
    EXPECT_NE(header_of(damaged("wrong-magic")).magic, kMagic);
    EXPECT_EQ(header_of(damaged("swapped-magic")).magic, 0x98BADCFEU);
}

TEST(Faults, StatusKeepsTheBody) {
    EXPECT_NE(header_of(damaged("status")).status, 0U);
    EXPECT_EQ(damaged("status").body, kBody);
}

TEST(Faults, EarlyCloseAnnouncesMoreThanItSends) {
    EXPECT_EQ(header_of(damaged("early-close")).length, kBody.size());
    EXPECT_EQ(damaged("early-close").body.size(), kBody.size() / 2);
}

TEST(Faults, ZeroLengthSendsNoBody) {
    EXPECT_EQ(header_of(damaged("zero-length")).length, 0U);
    EXPECT_EQ(damaged("zero-length").body, "");
}

TEST(Faults, HugeLengthAnnouncesTheLargestLength) {
    EXPECT_EQ(header_of(damaged("long-length")).length, 64U << 20U);
    EXPECT_EQ(header_of(damaged("huge-length")).length, UINT32_MAX);
}

TEST(Faults, GarbageHasTheRightLength) {
    EXPECT_EQ(header_of(damaged("garbage")).length, kBody.size());
    EXPECT_EQ(damaged("garbage").body.size(), kBody.size());
    EXPECT_NE(damaged("garbage").body, kBody);
}

TEST(Faults, TruncatedHasAMatchingLength) {
    const Delivery delivery = damaged("truncated");
    EXPECT_EQ(delivery.body, kBody.substr(0, kBody.size() / 2));
    EXPECT_EQ(header_of(delivery).length, delivery.body.size());
}

TEST(Faults, ErrorReplyRefuses) {
    EXPECT_NE(damaged("error-reply").body.find("<result value=\"5\">"), std::string::npos);
}

TEST(Faults, UnclosedOmitsOneClosingTag) {
    const Delivery delivery = damaged("unclosed");
    EXPECT_EQ(delivery.body, "<zrpConsoleReply><a>1<b>2</b></zrpConsoleReply>");
    EXPECT_EQ(header_of(delivery).length, delivery.body.size());
}

TEST(Faults, EveryKindIsRead) {
    for (const FaultKind& kind : fault_kinds()) {
        std::vector<Fault> faults;
        EXPECT_EQ(read_fault(kind.name, faults), "");
        ASSERT_EQ(faults.size(), 1U);
        EXPECT_EQ(faults.front().kind, &kind);
    }
}

TEST(Faults, AnUnknownKindOrTargetIsNamed) {
    std::vector<Fault> faults;
    EXPECT_EQ(read_fault("melt", faults), "no fault named \"melt\"");
    EXPECT_EQ(read_fault("hang:noSuchThing", faults),
              "no command or socket named \"noSuchThing\" for hang");
    EXPECT_EQ(read_fault("hang:", faults), "no command or socket named \"\" for hang");
    EXPECT_EQ(read_fault("refuse:serverStatistics", faults),
              "no command or socket named \"serverStatistics\" for refuse");
    EXPECT_TRUE(faults.empty());
}

TEST(Faults, ATargetIsACommandOrASocket) {
    std::vector<Fault> faults;
    EXPECT_EQ(read_fault("hang:serverStatistics", faults), "");
    EXPECT_EQ(read_fault("status:zrp2bks", faults), "");
    EXPECT_STREQ(choose_fault(faults, Peer::kMainDaemon, "serverStatistics")->name, "hang");
    EXPECT_EQ(choose_fault(faults, Peer::kMainDaemon, "listVolumes"), nullptr);
    EXPECT_STREQ(choose_fault(faults, Peer::kStorageDaemon, "versionTag")->name, "status");
}

TEST(Faults, RefuseAppliesToItsSocketOnly) {
    std::vector<Fault> faults;
    EXPECT_EQ(read_fault("refuse:zrp2bks", faults), "");
    EXPECT_TRUE(is_refused(faults, Peer::kStorageDaemon));
    EXPECT_FALSE(is_refused(faults, Peer::kMainDaemon));
    EXPECT_EQ(choose_fault(faults, Peer::kStorageDaemon, "versionTag"), nullptr);
}

} // namespace
} // namespace zrp::sim::faults_test
