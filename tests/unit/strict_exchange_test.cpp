#include "common/strict_exchange.h"

#include <cerrno>
#include <string>
#include <string_view>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/exchange_limits.h"
#include "common/transport.h"
#include "tests/support/scripted_peer.h"

namespace zrp::strict_exchange_test {
namespace {

StrictReply ask_strictly() {
    return ExchangeStrictly(kMainDaemonSocket, kMainDaemonRequest, 1, "x");
}

std::string_view text_of(const StrictReply& answer) {
    return {answer.reply.text.get(), static_cast<size_t>(answer.reply.length)};
}

TEST(StrictExchange, AStatusIsNoErrnoOfTheSystem) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply("<a/>", ECONNREFUSED))}});
    const StrictReply answer = ask_strictly();
    EXPECT_EQ(answer.end, ExchangeEnd::kStatus);
    EXPECT_EQ(answer.code, ECONNREFUSED);
    EXPECT_EQ(text_of(answer), "<a/>");
}

TEST(StrictExchange, NobodyListens) {
    const StrictReply answer = ask_strictly();
    EXPECT_EQ(answer.end, ExchangeEnd::kNotConnected);
    EXPECT_EQ(answer.code, ECONNREFUSED);
    EXPECT_EQ(answer.peerProcess, 0);
}

TEST(StrictExchange, NamesThePeer) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<a/>"))}});
    const StrictReply answer = ask_strictly();
    EXPECT_EQ(answer.end, ExchangeEnd::kReply);
    EXPECT_EQ(answer.peerProcess, getpid());
    EXPECT_EQ(answer.peerUser, getuid());
}

TEST(StrictExchange, AHeaderMayComeInPieces) {
    PeerScript script = send_in_pieces(reply("<a/>"), 5);
    script.insert(script.begin(), read_request());
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    const StrictReply answer = ask_strictly();
    EXPECT_EQ(answer.end, ExchangeEnd::kReply);
    EXPECT_EQ(text_of(answer), "<a/>");
}

TEST(StrictExchange, ABodyOfManyBlocksIsWhole) {
    const std::string text(1'000'003, 'b');
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(text))}});
    const StrictReply answer = ask_strictly();
    EXPECT_EQ(answer.end, ExchangeEnd::kReply);
    EXPECT_EQ(text_of(answer), text);
}

TEST(StrictExchange, EveryCutReplyIsBroken) {
    for (const std::string& bytes :
         {std::string(), reply("<a/>").substr(0, 7), reply("<a/>").substr(0, 14),
          reply_header(0xFFFFFFFF) + "<a>", reply_header(4, 0, kMagic + 1) + "<a/>"}) {
        const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(bytes)}});
        const StrictReply answer = ask_strictly();
        EXPECT_EQ(answer.end, ExchangeEnd::kBroken) << bytes.size();
        EXPECT_EQ(answer.reply.text, nullptr);
    }
}

TEST(StrictExchange, TheThreadsDeadlineHolds) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    const ExchangeLimitsGuard limits({.exchangeMs = 50});
    EXPECT_EQ(ask_strictly().end, ExchangeEnd::kTimedOut);
}

TEST(StrictExchange, AnInterruptEndsIt) {
    ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk);
    IPCServInterrupt();
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    EXPECT_EQ(ask_strictly().end, ExchangeEnd::kInterrupted);
    ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk); // clears the interrupt
    IPCServTerm();
}

TEST(StrictExchange, RefusesNull) {
    EXPECT_EQ(ExchangeStrictly(nullptr, 0, 1, "x").end, ExchangeEnd::kRefused);
    EXPECT_EQ(ExchangeStrictly(kMainDaemonSocket, 0, 1, nullptr).end, ExchangeEnd::kRefused);
}

} // namespace
} // namespace zrp::strict_exchange_test
