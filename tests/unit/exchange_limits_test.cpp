#include "common/exchange_limits.h"

#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "common/client.h"
#include "common/ipc_context.h"
#include "common/requests/volume_list.h"
#include "common/result.h"
#include "common/transport.h"
#include "common/xml_reader.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/full_peer.h"

namespace zrp::exchange_limits_test {
namespace {

using namespace std::chrono_literals;

constexpr int32_t kShort = 150; // milliseconds of a deadline that passes
constexpr ExchangeLimits kDeadline = {.exchangeMs = kShort};
constexpr ExchangeLimits kPatient = {.exchangeMs = 20'000, .totalMs = 30'000};
constexpr ExchangeLimits kWhole = {.wholeReply = true};

int ask(const char* name = kMainDaemonSocket, const std::string& text = "<request/>") {
    uint64_t length = 0;
    char unowned = '#';
    char* reply = &unowned;
    const int rc =
        IPCServRequestEx(name, kMainDaemonRequest, text.size(), text.data(), &length, &reply);
    EXPECT_TRUE(rc == kOk || reply == nullptr);
    const HeapText owned(reply);
    return rc;
}

int ask_in_time(int32_t timeoutMs) {
    uint64_t length = 0;
    char* reply = nullptr;
    const int rc = IPCServRequestTimeout(kMainDaemonSocket, 0, 1, "x", &length, &reply, timeoutMs);
    const HeapText owned(reply);
    return rc;
}

// Runs under a deadline that passes.
void expect_timed_out(const std::string& text = "<request/>") {
    const ExchangeLimitsGuard limits(kDeadline);
    const harness::Deadline early{harness::milliseconds{kShort}};
    const harness::Deadline late{harness::kPatience};
    EXPECT_EQ(ask(kMainDaemonSocket, text), ETIMEDOUT);
    EXPECT_TRUE(early.passed());
    EXPECT_FALSE(late.passed());
}

TEST(ExchangeLimits, ADeadlineEndsAConnectToAFullBacklog) {
    const FullPeer peer;
    ASSERT_TRUE(peer.full());
    expect_timed_out();
}

TEST(ExchangeLimits, ADeadlineEndsASendThatThePeerDoesNotRead) {
    const ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    expect_timed_out(std::string(10'000'000, 'r'));
}

TEST(ExchangeLimits, ADeadlineEndsTheWaitForAHeader) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    expect_timed_out();
}

TEST(ExchangeLimits, ADeadlineEndsTheWaitForABody) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(10)), hang()}});
    expect_timed_out();
}

TEST(ExchangeLimits, ADeadlineEndsABodyThatDrips) {
    PeerScript script = {read_request(), send_bytes(reply_header(1'000'000))};
    for (const PeerStep& step : send_in_pieces(std::string(10'000, 'd'), 1)) {
        script.push_back(step);
    }
    script.push_back(hang());
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    expect_timed_out();
}

// Makes an exchange with a mute daemon until one is over in time: the machine may be busy.
void expect_over_in(harness::milliseconds time, int code, const std::function<int()>& askMute) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    bool isOver = false;
    for (int i = 0; i < 10 && !isOver; i++) {
        const harness::Deadline end{time};
        EXPECT_EQ(askMute(), code);
        isOver = !end.passed();
    }
    EXPECT_TRUE(isOver);
}

// An interrupt wakes a wait that lasts, which therefore looks for it only once a second.
TEST(ExchangeLimits, ADeadlineIsKeptBetweenTwoLooksForAnInterrupt) {
    expect_over_in(5ms * kShort, ETIMEDOUT, [] {
        const ExchangeLimitsGuard limits(kDeadline);
        return ask();
    });
}

// A wait that may last looks for an interrupt after 50 ms.
TEST(ExchangeLimits, AShorterTimeThanThatOfALookForAnInterruptIsKept) {
    expect_over_in(40ms, ETIMEDOUT, [] {
        const ExchangeLimitsGuard limits({.exchangeMs = 10});
        return ask();
    });
    expect_over_in(40ms, kShortHeader, [] { return ask_in_time(10); });
}

TEST(ExchangeLimits, ADeadlineBeatsALongerReceiveTimeoutOnly) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    const ExchangeLimitsGuard limits(kDeadline);
    EXPECT_EQ(ask_in_time(60'000), ETIMEDOUT);
    EXPECT_EQ(ask_in_time(kShort / 3), kShortHeader);
}

TEST(ExchangeLimits, AnExchangeInTimeIsAsWithoutLimits) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), pause_for(50ms), send_bytes(reply("x"))}});
    const ExchangeLimitsGuard limits(kPatient);
    EXPECT_EQ(ask(), kOk);
    EXPECT_EQ(ask("nobody"), ECONNREFUSED);
}

TEST(ExchangeLimits, AScanInTimeIsAsWithoutLimits) {
    std::string text(3'000'000, ' ');
    text += "<a/>";
    const ExchangeLimitsGuard limits(kPatient);
    XmlElement element;
    EXPECT_EQ(FindElement("a", text.data(), text.data() + text.size(), &element), kOk);
}

TEST(ExchangeLimits, OfOneThreadLeaveTheOthersAlone) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), pause_for(2ms * kShort), send_bytes(reply("x"))}});
    auto other = std::async(std::launch::async, [] { return ask(); });
    const ExchangeLimitsGuard limits(kDeadline);
    EXPECT_EQ(ask(), ETIMEDOUT);
    EXPECT_EQ(other.get(), kOk);
}

TEST(ExchangeLimits, EndWithTheGuard) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), pause_for(2ms * kShort), send_bytes(reply("x"))}});
    {
        const ExchangeLimitsGuard limits(kDeadline);
        EXPECT_EQ(ask(), ETIMEDOUT);
    }
    EXPECT_EQ(ask(), kOk);
}

TEST(ExchangeLimits, OfTwoGuardsTheStricterCounts) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    {
        const ExchangeLimitsGuard outer(kDeadline);
        const ExchangeLimitsGuard inner(kPatient);
        EXPECT_EQ(ask(), ETIMEDOUT);
    }
    {
        const ExchangeLimitsGuard outer({.totalMs = kShort});
        const ExchangeLimitsGuard inner(kPatient);
        EXPECT_EQ(ask(), ETIMEDOUT);
    }
    {
        const ExchangeLimitsGuard outer(kPatient);
        const ExchangeLimitsGuard inner(kDeadline);
        EXPECT_EQ(ask(), ETIMEDOUT);
    }
}

TEST(ExchangeLimits, ATotalHoldsForAllExchangesTogether) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), pause_for(100ms), send_bytes(reply("x"))}});
    const ExchangeLimitsGuard limits({.totalMs = 350});
    int good = 0;
    int rc = kOk;
    while ((rc = ask()) == kOk && good < 100) {
        good++;
    }
    EXPECT_EQ(rc, ETIMEDOUT);
    EXPECT_LE(good, 3);
    const size_t connections = peer.connections();
    EXPECT_EQ(ask(), ETIMEDOUT) << "nothing is sent after the end";
    EXPECT_EQ(peer.connections(), connections);
}

TEST(ExchangeLimits, ANegativeOneRefusesEveryExchange) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    for (const ExchangeLimits& negative :
         {ExchangeLimits{.exchangeMs = -1}, ExchangeLimits{.totalMs = INT32_MIN}}) {
        const ExchangeLimitsGuard limits(negative);
        EXPECT_EQ(ask(), kInvalid);
        const ExchangeLimitsGuard inner(kPatient);
        EXPECT_EQ(ask(), kInvalid);
    }
    EXPECT_EQ(peer.connections(), 0U);
    EXPECT_EQ(ask(), kOk);
}

TEST(ExchangeLimits, AReplyMayBeRequiredToBeWhole) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(10))},
                             {read_request(), send_bytes(reply_header(10) + "nine bytes")},
                             {read_request(), send_bytes(reply_header(10) + "nine byte")},
                             {read_request(), send_bytes(reply_header(10) + "nine byte")},
                             {read_request(), send_bytes(reply_header(0))}});
    {
        const ExchangeLimitsGuard limits(kWhole);
        EXPECT_EQ(ask(), kShortHeader);
        EXPECT_EQ(ask(), kOk);
        EXPECT_EQ(ask(), kShortHeader);
    }
    EXPECT_EQ(ask(), kOk) << "as without limits";
    const ExchangeLimitsGuard limits(kWhole);
    EXPECT_EQ(ask(), kOk) << "an empty reply is whole";
}

TEST(ExchangeLimits, AWholeReplyMayArriveByteByByte) {
    PeerScript script = {read_request()};
    for (const PeerStep& step : send_in_pieces(reply("abcdef"), 1)) {
        script.push_back(step);
    }
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    const ExchangeLimitsGuard limits(kWhole);
    EXPECT_EQ(ask(), kOk);
}

TEST(ExchangeLimits, AReplyThatATimeoutCutIsLate) {
    const ScriptedPeer peer(
        kMainDaemonSocket,
        {{read_request(), hang()}, {read_request(), send_bytes(reply_header(10) + "abc"), hang()}});
    const ExchangeLimitsGuard limits(kWhole);
    EXPECT_EQ(ask_in_time(kShort), ETIMEDOUT);
    EXPECT_EQ(ask_in_time(kShort), ETIMEDOUT);
}

TEST(ExchangeLimits, AReplyThatThePeerCutsAfterAWaitIsNotLate) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), pause_for(50ms)},
                             {read_request(), send_bytes(reply_header(10)), pause_for(50ms)}});
    const ExchangeLimitsGuard limits({.exchangeMs = 20'000, .wholeReply = true});
    EXPECT_EQ(ask(), kShortHeader);
    EXPECT_EQ(ask(), kShortHeader);
}

// Its memory grows with what arrives.
TEST(ExchangeLimits, WithoutMemoryForAWholeReplyThereIsNone) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply(std::string(300'000, 'x')))}});
    const ExchangeLimitsGuard limits(kWhole);
    for (const size_t size : {65'536U, 131'072U, 262'144U, 300'000U}) {
        const FailingMalloc failing(size);
        EXPECT_EQ(ask(), kNoMemory) << size;
    }
    EXPECT_EQ(ask(), kOk);
}

TEST(ExchangeLimits, AReplyMayBeRequiredToBeShort) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply("12345678"))},
                             {read_request(), send_bytes(reply("123456789"))},
                             {read_request(), send_bytes(reply_header(UINT32_MAX)), hang()},
                             {read_request(), send_bytes(reply("123456789"))}});
    {
        const ExchangeLimitsGuard limits({.longestReply = 8});
        const ExchangeLimitsGuard looser({.longestReply = 100});
        EXPECT_EQ(ask(), kOk);
        EXPECT_EQ(ask(), kTooLong);
        EXPECT_EQ(ask(), kTooLong);
    }
    EXPECT_EQ(ask(), kOk);
}

TEST(ExchangeLimits, HoldForOperationsContextsAndTheFace) {
    const client::Session session;
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    IPCServContext context;
    ASSERT_EQ(IPCServContextOpen(context, kMainDaemonSocket, nullptr, nullptr, 0), kOk);
    const auto ignore = [](void*, const ListedVolume&) { return int{kOk}; };
    uint64_t length = 0;
    char* reply = nullptr;

    const ExchangeLimitsGuard limits(kDeadline);
    EXPECT_EQ(GetVolumes(ignore, nullptr, nullptr), ETIMEDOUT);
    EXPECT_EQ(IPCServRequestEx(context, 0, 1, "x", &length, &reply), ETIMEDOUT);
    EXPECT_EQ(client::ListVolumes().code, ETIMEDOUT);
    EXPECT_EQ(client::GetEngineVersion().code, ETIMEDOUT);
    IPCServContextClose(context);
}

TEST(ExchangeLimits, AnInterruptBeatsADeadline) {
    ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk);
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    auto exchange = std::async(std::launch::async, [] {
        const ExchangeLimitsGuard limits(kPatient);
        return ask();
    });
    ASSERT_TRUE(peer.wait_for_connections(1));
    IPCServInterrupt();
    EXPECT_EQ(exchange.get(), ECANCELED);
    ASSERT_EQ(IPCServInit("reset"), kOk);
    IPCServTerm();
}

} // namespace
} // namespace zrp::exchange_limits_test
