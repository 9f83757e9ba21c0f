#include "common/requests/server_statistics.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/exact_block.h"
#include "tests/support/huge_replies.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"

namespace zrp::server_statistics_test {
namespace {

constexpr const char* kRequest = "<zrpConsoleRequest><serverStatistics><versionTag>1</versionTag>"
                                 "</serverStatistics></zrpConsoleRequest>";

using Contents = std::vector<std::string>;

TEST(BuildServerStatisticsRequest, IsOneLineWithoutPid) {
    uint32_t length = 0;
    const HeapText text(BuildServerStatisticsRequest(1, &length));
    EXPECT_STREQ(text.get(), kRequest);
    EXPECT_EQ(length, strlen(kRequest));
}

TEST(BuildServerStatisticsRequest, CarriesAnyVersion) {
    uint32_t length = 0;
    const HeapText text(BuildServerStatisticsRequest(INT32_MIN, &length));
    EXPECT_NE(strstr(text.get(), "<versionTag>-2147483648</versionTag>"), nullptr);
}

struct Scan {
    Contents elements;
    int rc = 0;     // that ended it
    int offset = 0; // where it ended
};

Scan scan(std::string_view text) {
    const ExactBlock reply(text);
    Scan scanned;
    char* element = nullptr;
    int length = 0;
    while ((scanned.rc = ScanServerStatisticsReply(reply.begin(), reply.length(), &scanned.offset,
                                                   &element, &length)) == kOk) {
        scanned.elements.emplace_back(element, length);
    }
    return scanned;
}

TEST(ScanServerStatisticsReply, GivesTheContentOfEachParm) {
    const Scan scanned =
        scan("<parm>0</parm><serverStatistics><parm>1</parm> <parm>2</parm></serverStatistics>");
    EXPECT_EQ(scanned.elements, (Contents{"1", "2"}));
    EXPECT_EQ(scanned.rc, kInvalid);
    EXPECT_EQ(scanned.offset, 61);
}

TEST(ScanServerStatisticsReply, ReportsHowItEnds) {
    EXPECT_EQ(scan("").rc, kInvalid);
    EXPECT_EQ(scan("<parm>1</parm>").rc, kNotFound);
    EXPECT_EQ(scan("<serverStatistics><parm>1</parm>").rc, kNotFound);
    EXPECT_EQ(scan("<serverStatistics></serverStatistics>").rc, kInvalid);
    EXPECT_EQ(scan("<serverStatistics/>").rc, kInvalid);
}

TEST(ScanServerStatisticsReply, AnOffsetAtTheEndIsTheEndOfData) {
    ExactBlock reply("<serverStatistics><parm/></serverStatistics>");
    int offset = reply.length();
    char* element = nullptr;
    int length = 7;
    EXPECT_EQ(ScanServerStatisticsReply(reply.begin(), reply.length(), &offset, &element, &length),
              kRange);
    EXPECT_EQ(length, 7);
}

int keep(void* context, char* element, int elementLength) {
    static_cast<Contents*>(context)->emplace_back(element, elementLength);
    return kOk;
}

int stop_at_first(void* context, char* element, int elementLength) {
    keep(context, element, elementLength);
    return -33;
}

class QueryStatistics : public testing::Test {
protected:
    QueryStatistics() {
        IPCServInit(kMainDaemonSocket);
    }
    ~QueryStatistics() override {
        IPCServTerm();
    }

    // Asks a daemon that gives this answer.
    int query(const std::string& answer, StatisticsCallback callback = keep) {
        ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(answer)}});
        const int rc =
            QueryServerStatistics(kServerStatisticsVersion, callback, nullptr, &elements);
        EXPECT_EQ(peer.requests().at(0).substr(sizeof(RequestHeader)), kRequest);
        return rc;
    }

    Contents elements;
};

constexpr const char* kReply =
    "<zrpConsoleReply><serverStatistics><parm>1</parm><parm>2</parm></serverStatistics>";

TEST_F(QueryStatistics, GivesEveryStatistic) {
    EXPECT_EQ(query(reply("<serverStatistics><parm>1</parm><parm/><parm>3</parm>"
                          "</serverStatistics>")),
              kOk);
    EXPECT_EQ(elements, (Contents{"1", "", "3"}));
}

TEST_F(QueryStatistics, TheCallbackStopsIt) {
    EXPECT_EQ(query(reply(kReply), stop_at_first), -33);
    EXPECT_EQ(elements, (Contents{"1"}));
}

TEST_F(QueryStatistics, ListsNothingOfAReplyWithAnError) {
    EXPECT_EQ(query(reply("<result value=\"-5\"/>" + std::string(kReply))), -5);
    EXPECT_EQ(query(reply("<writeResult></writeResult>")), kWriteError);
    EXPECT_EQ(query(reply(kReply, 9)), 9);
    EXPECT_TRUE(elements.empty());
}

TEST_F(QueryStatistics, AReplyWithoutStatisticsIsAnEmptyList) {
    for (const char* text : {"", "<a/>", "<serverStatistics>", "\xFF\xFE\x01"}) {
        EXPECT_EQ(query(reply(text)), kOk) << text;
    }
    EXPECT_TRUE(elements.empty());
}

TEST_F(QueryStatistics, PassesTheTransportsFailureOn) {
    EXPECT_EQ(query(reply_header(4, 0, 0) + "abcd"), kBadMagic);
    EXPECT_EQ(query("short"), kShortHeader);
    EXPECT_EQ(QueryServerStatistics(1, keep, nullptr, &elements), ECONNREFUSED);
    IPCServTerm();
    EXPECT_EQ(QueryServerStatistics(1, keep, nullptr, &elements), kInvalid);
    EXPECT_TRUE(elements.empty());
}

TEST_F(QueryStatistics, WithoutMemoryForTheRequestNobodyIsAsked) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(kReply))}});
    const FailingMalloc failing(256);
    EXPECT_EQ(QueryServerStatistics(1, keep, nullptr, &elements), kNoMemory);
    EXPECT_EQ(peer.connections(), 0U);
    EXPECT_TRUE(elements.empty());
}

Contents dumped;

void note_dump(const char* text, uint64_t length) {
    dumped.emplace_back(text, length);
}

TEST_F(QueryStatistics, TheHooksGetRequestAndReply) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(kReply))}});
    const RequestHooks hooks = {.dump = note_dump};
    dumped.clear();
    EXPECT_EQ(QueryServerStatistics(1, keep, &hooks, &elements), kOk);
    EXPECT_EQ(dumped, (Contents{kRequest, kReply}));
}

TEST_F(QueryStatistics, AReplyOfFourGigabytesIsNoList) {
    ZRP_NEEDS_MEMORY_FOR_HUGE_REPLIES();
    const int rc = query(reply_header(kHugeLength) + kReply);
    EXPECT_TRUE(rc == kOk || rc == kNoMemory);
    EXPECT_TRUE(elements.empty());
}

} // namespace
} // namespace zrp::server_statistics_test
