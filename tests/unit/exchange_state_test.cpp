#include "common/exchange_state.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/engine/query.h"
#include "common/heap_text.h"
#include "common/result.h"
#include "common/transport.h"
#include "tests/support/scripted_peer.h"

namespace zrp::exchange_state_test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

const std::string kError5 = "<zrpConsoleReply><result value=\"5\"><description>no</description>"
                            "</result></zrpConsoleReply>";

int ask(const char* socketName) {
    uint64_t length = 0;
    char* reply = nullptr;
    const int rc = IPCServRequestEx(socketName, 0, 1, "x", &length, &reply);
    const HeapText owned(reply);
    return rc;
}

int ask_checked(const Peer& peer, ErrorText* errorText = nullptr) {
    Reply reply;
    return send_query({.peer = peer, .errorText = errorText}, HeapText(strdup("x")), 1, &reply);
}

// Waits until the daemon's state is in a phase.
ExchangeState wait_for(DaemonId daemon, ExchangePhase phase) {
    const auto deadline = steady_clock::now() + harness::kPatience;
    ExchangeState state = GetExchangeState(daemon);
    while (state.phase != phase && steady_clock::now() < deadline) {
        std::this_thread::yield();
        state = GetExchangeState(daemon);
    }
    EXPECT_EQ(state.phase, phase);
    return state;
}

TEST(ExchangeState, CountsExchangesAndKeepsTheLast) {
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    const ExchangeState before = GetExchangeState(DaemonId::kStorage);
    const auto began = steady_clock::now();
    EXPECT_EQ(ask(kStorageDaemonSocket), kOk);
    const ExchangeState after = GetExchangeState(DaemonId::kStorage);
    EXPECT_EQ(after.phase, ExchangePhase::kIdle);
    EXPECT_EQ(after.ended, before.ended + 1);
    EXPECT_EQ(after.failed, before.failed);
    EXPECT_EQ(after.last.transportCode, kOk);
    EXPECT_GE(after.last.began, began);
    EXPECT_LE(after.last.began, steady_clock::now());
}

TEST(ExchangeState, KeepsAFailureAfterALaterSuccess) {
    const ExchangeState before = GetExchangeState(DaemonId::kStorage);
    EXPECT_EQ(ask(kStorageDaemonSocket), ECONNREFUSED);
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    EXPECT_EQ(ask(kStorageDaemonSocket), kOk);
    const ExchangeState after = GetExchangeState(DaemonId::kStorage);
    EXPECT_EQ(after.ended, before.ended + 2);
    EXPECT_EQ(after.failed, before.failed + 1);
    EXPECT_EQ(after.last.transportCode, kOk);
    EXPECT_EQ(after.lastFailure.transportCode, ECONNREFUSED);
    EXPECT_LT(after.lastFailure.began, after.last.began);
}

TEST(ExchangeState, TellsTheDaemonsApartAndCountsTheDefaultPeerAsTheMainDaemon) {
    constexpr DaemonId kAll[] = {DaemonId::kMain, DaemonId::kStorage, DaemonId::kManagement};
    const auto counts = [&] {
        std::array<uint64_t, kDaemonCount> ended = {};
        for (const DaemonId daemon : kAll) {
            ended[static_cast<size_t>(daemon)] = GetExchangeState(daemon).ended;
        }
        return ended;
    };
    auto expected = counts();
    const char* names[] = {kMainDaemonSocket, kStorageDaemonSocket, kManagementSocket};
    for (size_t i = 0; i < kDaemonCount; i++) {
        ask(names[i]);
        expected[i]++;
        EXPECT_EQ(counts(), expected);
    }
    ask("another");
    EXPECT_EQ(ask(nullptr), kInvalid); // nobody was asked
    EXPECT_EQ(counts(), expected);
    ASSERT_EQ(IPCServInit("another"), kOk);
    ask(nullptr);
    IPCServTerm();
    expected[0]++;
    EXPECT_EQ(counts(), expected);
}

TEST(ExchangeState, ShowsAnExchangeThatWaitsAndSinceWhen) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), wait_for_close()}, {read_request(), hang()}});
    const auto began = steady_clock::now();
    ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk);
    auto exchange = std::async(std::launch::async, ask, nullptr);
    const ExchangeState state = wait_for(DaemonId::kMain, ExchangePhase::kWaiting);
    EXPECT_GE(state.since, began);
    EXPECT_LE(state.since, steady_clock::now());

    // A later exchange does not hide it.
    auto later = std::async(std::launch::async, ask, nullptr);
    ASSERT_TRUE(peer.wait_for_connections(2));
    EXPECT_EQ(GetExchangeState(DaemonId::kMain).since, state.since);

    IPCServInterrupt();
    EXPECT_EQ(exchange.get(), ECANCELED);
    EXPECT_EQ(later.get(), ECANCELED);
    const ExchangeState after = GetExchangeState(DaemonId::kMain);
    EXPECT_EQ(after.phase, ExchangePhase::kIdle);
    EXPECT_EQ(after.last.transportCode, ECANCELED);
    ASSERT_EQ(IPCServInit("reset"), kOk);
    IPCServTerm();
}

// An exchange with the main daemon, which says nothing, until it is interrupted.
class WaitingExchange {
public:
    WaitingExchange() {
        EXPECT_EQ(IPCServInit(kMainDaemonSocket), kOk);
        exchange_ = std::async(std::launch::async, ask, nullptr);
        wait_for(DaemonId::kMain, ExchangePhase::kWaiting);
    }

    WaitingExchange(const WaitingExchange&) = delete;
    WaitingExchange& operator=(const WaitingExchange&) = delete;

    ~WaitingExchange() {
        IPCServInterrupt();
        EXPECT_EQ(exchange_.get(), ECANCELED);
        EXPECT_EQ(IPCServInit("reset"), kOk);
        IPCServTerm();
    }

private:
    ScriptedPeer peer_{kMainDaemonSocket, {{read_request(), hang()}}};
    std::future<int> exchange_;
};

TEST(ExchangeState, AnExchangeWaitsSinceItsConnectionAndNotSinceItBegan) {
    steady_clock::time_point since;
    {
        const WaitingExchange waiting;
        since = GetExchangeState(DaemonId::kMain).since;
    }
    EXPECT_GT(since, GetExchangeState(DaemonId::kMain).last.began);
}

TEST(ExchangeState, ALaterExchangeThatEndsLeavesTheEarlierOneShown) {
    const WaitingExchange waiting;
    EXPECT_EQ(ask("another"), ECONNREFUSED);
    EXPECT_EQ(GetExchangeState(DaemonId::kMain).phase, ExchangePhase::kWaiting);
}

TEST(ExchangeState, IsNotThatOfAnotherDaemonThatWasAskedEarlier) {
    const WaitingExchange waiting;
    EXPECT_EQ(GetExchangeState(DaemonId::kManagement).phase, ExchangePhase::kIdle);
}

// In a process of its own, in which no daemon was asked.
TEST(ExchangeStateDeathTest, ADaemonThatWasNotAskedHasNoReplyToNote) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            NoteReplyResult(DaemonId::kMain, 5, "no");
            const ExchangeState state = GetExchangeState(DaemonId::kMain);
            const bool isEmpty = state.ended == 0 && state.failed == 0 &&
                                 state.last.replyCode == kOk && state.lastFailure.replyCode == kOk;
            _exit(isEmpty ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ExchangeState, AStatusInTheHeaderIsTheTransportsCode) {
    const ScriptedPeer peer(kManagementSocket, {{read_request(), send_bytes(reply("x", 7))}});
    EXPECT_EQ(ask_checked(kManagementComponent), 7);
    EXPECT_EQ(GetExchangeState(DaemonId::kManagement).last.transportCode, 7);
    EXPECT_EQ(GetExchangeState(DaemonId::kManagement).last.replyCode, kOk);
}

TEST(ExchangeState, AnErrorThatTheServerReportsIsAFailureWithItsWords) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(kError5))}});
    const ExchangeState before = GetExchangeState(DaemonId::kMain);
    EXPECT_EQ(ask_checked(kMainDaemon), 5);
    const ExchangeState after = GetExchangeState(DaemonId::kMain);
    EXPECT_EQ(after.ended, before.ended + 1);
    EXPECT_EQ(after.failed, before.failed + 1);
    EXPECT_EQ(after.last.transportCode, kOk);
    EXPECT_EQ(after.last.replyCode, 5);
    EXPECT_STREQ(after.last.errorText, "5 no");
    EXPECT_EQ(after.lastFailure.replyCode, 5);
    ErrorText errorText = "";
    EXPECT_EQ(ask_checked(kMainDaemon, &errorText), 5);
    EXPECT_STREQ(errorText, "5 no");
}

TEST(ExchangeState, AProgramMayNoteWhatItFoundInTheReply) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("junk"))}});
    EXPECT_EQ(ask(kMainDaemonSocket), kOk);
    const ExchangeState before = GetExchangeState(DaemonId::kMain);
    NoteReplyResult(DaemonId::kMain, kOk, "ignored");
    EXPECT_EQ(GetExchangeState(DaemonId::kMain).failed, before.failed);
    NoteReplyResult(DaemonId::kMain, kInvalid, nullptr);
    NoteReplyResult(DaemonId::kMain, kInvalid, std::string(1000, 'e').c_str());
    const ExchangeState after = GetExchangeState(DaemonId::kMain);
    EXPECT_EQ(after.failed, before.failed + 1) << "one exchange fails once";
    EXPECT_EQ(after.ended, before.ended);
    EXPECT_EQ(after.last.replyCode, kInvalid);
    EXPECT_EQ(after.last.errorText, std::string(kStateTextSize - 1, 'e'));
}

TEST(ExchangeState, AChildHasOnlyItsOwnExchangesUnderWay) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk);
    auto exchange = std::async(std::launch::async, ask, nullptr);
    wait_for(DaemonId::kMain, ExchangePhase::kWaiting);
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        const bool isIdle = GetExchangeState(DaemonId::kMain).phase == ExchangePhase::kIdle;
        IPCServTerm(); // waits for exchanges in flight
        _exit(isIdle ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(GetExchangeState(DaemonId::kMain).phase, ExchangePhase::kWaiting);
    IPCServInterrupt();
    EXPECT_EQ(exchange.get(), ECANCELED);
    ASSERT_EQ(IPCServInit("reset"), kOk);
    IPCServTerm();
}

} // namespace
} // namespace zrp::exchange_state_test
