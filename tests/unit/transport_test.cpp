#include "common/transport.h"

#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "common/result.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/transport_fixture.h"

namespace zrp::transport_test {
namespace {

using namespace std::chrono_literals;

TEST_F(Transport, ExchangesRequestAndReply) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<reply/>"))}});
    expect_text(ask(), "<reply/>");
}

TEST_F(Transport, TheQueriesAddressTheirDaemons) {
    ScriptedPeer main(kMainDaemonSocket, {{read_request(), send_bytes(reply("main"))}});
    ScriptedPeer storage(kStorageDaemonSocket, {{read_request(), send_bytes(reply("storage"))}});
    expect_text(take([](uint64_t* length, char** reply) {
                    return QueryZRPServer(kMainDaemonRequest, "<m/>", 4, reply, length);
                }),
                "main");
    expect_text(take([](uint64_t* length, char** reply) {
                    return QueryZRP2BKS(kStorageDiagnosticRequest, "<s/>", 4, reply, length);
                }),
                "storage");
    EXPECT_EQ(main.requests().at(0), words({0xFEDCBA98, 0xDEADBEEF, 4}) + "<m/>");
    EXPECT_EQ(storage.requests().at(0), words({0xFEDCBA98, 0xFADEBAD0, 4}) + "<s/>");
}

TEST_F(Transport, AStatusIsPassedThroughAndTheReplyFreedButItsLengthKept) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply(std::string(40, 'b'), 5))}});
    IPCServInit(kMainDaemonSocket);
    expect_nothing(ask_default(), 5, 40);
    expect_nothing(ask(), 5, 40);
}

TEST_F(Transport, AStatusLeavesTheReplyWithTheCallerOfTheTimedAndTheTwoPieceRequest) {
    const PeerScript script = {read_request(), send_bytes(reply(std::string(40, 'b'), 5))};
    const ScriptedPeer main(kMainDaemonSocket, {script});
    const ScriptedPeer management(kManagementSocket, {script});
    IPCServInit(kMainDaemonSocket);
    for (const Answer& answer : {ask_in_time(kManagementTimeoutMs), ask_in_pieces("a", "b")}) {
        EXPECT_EQ(answer.rc, 5);
        EXPECT_EQ(answer.length, 40U);
        EXPECT_EQ(answer.text, std::string(40, 'b'));
    }
}

TEST_F(Transport, AStatusOfAllBitsIsNegative) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply("", 0xFFFFFD42))}});
    expect_nothing(ask(), -702);
}

TEST_F(Transport, AReplyInTimeIsAReply) {
    ScriptedPeer peer(kManagementSocket, {{read_request(), send_bytes(reply("<x/>"))}});
    expect_text(ask_in_time(kManagementTimeoutMs), "<x/>");
    EXPECT_EQ(peer.requests().at(0), words({0xFEDCBA98, 0xBADDAD00, 10}) + "<request/>");
}

TEST_F(Transport, AnInitWithoutANameIsInvalid) {
    EXPECT_EQ(IPCServInit(nullptr), kInvalid);
    EXPECT_EQ(IPCServInit(""), kInvalid);
    expect_nothing(ask_default(), kInvalid);
}

TEST_F(Transport, AnInitWithoutMemoryKeepsTheEarlierPeer) {
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    ASSERT_EQ(IPCServInit(kStorageDaemonSocket), kOk);
    {
        const FailingMalloc failing(strlen(kMainDaemonSocket) + 128);
        EXPECT_EQ(IPCServInit(kMainDaemonSocket), kNoMemory);
    }
    expect_text(ask_default(), "x");
}

TEST_F(Transport, TheDefaultPeerLivesFromInitToTerm) {
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    std::string name = kStorageDaemonSocket;
    ASSERT_EQ(IPCServInit(name.c_str()), kOk);
    name.assign("overwritten: Init has its own copy");
    expect_text(ask_default(), "x");
    expect_text(ask(nullptr), "x");
    IPCServTerm();
    expect_nothing(ask_default(), kInvalid);
    expect_nothing(ask(nullptr), kInvalid);
    expect_nothing(ask_in_pieces("a", "b"), kInvalid);
    expect_text(ask(kStorageDaemonSocket), "x");
    IPCServTerm();
}

TEST_F(Transport, ASecondInitReplacesTheDefaultPeer) {
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    IPCServInit("first");
    expect_nothing(ask_default(), ECONNREFUSED);
    IPCServInit(kStorageDaemonSocket);
    EXPECT_EQ(IPCServInit(""), kInvalid);
    expect_text(ask_default(), "x");
}

// Checks that a function which forgets the default peer returns only after the exchange with it.
template <typename Forget>
void expect_wait_for_exchange(int (*exchange)(), Forget forget) {
    auto peer = std::make_unique<ScriptedPeer>(kMainDaemonSocket,
                                               std::vector<PeerScript>{{read_request(), hang()}});
    IPCServInit(kMainDaemonSocket);
    auto inFlight = std::async(std::launch::async, exchange);
    ASSERT_TRUE(peer->wait_for_connections(1));
    auto forgotten = std::async(std::launch::async, forget);
    EXPECT_EQ(forgotten.wait_for(150ms), std::future_status::timeout);
    EXPECT_EQ(inFlight.wait_for(0ms), std::future_status::timeout);
    peer.reset();
    EXPECT_EQ(forgotten.wait_for(harness::kPatience), std::future_status::ready);
    EXPECT_EQ(inFlight.get(), kShortHeader);
}

TEST_F(Transport, TermReturnsOnlyAfterTheExchangeInFlightHasEnded) {
    expect_wait_for_exchange([] { return ask_default().rc; }, IPCServTerm);
}

TEST_F(Transport, ASecondInitReturnsOnlyAfterTheExchangeInFlightHasEnded) {
    expect_wait_for_exchange([] { return ask_default().rc; },
                             [] { EXPECT_EQ(IPCServInit("nobody"), kOk); });
}

TEST_F(Transport, ExchangesRunInParallel) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 20;
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<x/>"))}});
    IPCServInit(kMainDaemonSocket);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; i++) {
        threads.emplace_back([] {
            for (int round = 0; round < kRounds; round++) {
                expect_text(ask_default(), "<x/>");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// An exchange may read the name while it is replaced or freed.
TEST_F(Transport, TheDefaultPeerMayChangeDuringExchanges) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; i++) {
        threads.emplace_back([&] {
            while (!stop.load()) {
                const int rc = ask_default().rc;
                EXPECT_TRUE(rc == kInvalid || rc == ECONNREFUSED) << rc;
            }
        });
    }
    for (int round = 0; round < 60; round++) {
        EXPECT_EQ(IPCServInit(round % 2 == 0 ? "nobody" : "no other"), kOk);
        if (round % 3 == 0) {
            IPCServTerm();
        }
        std::this_thread::yield();
    }
    stop.store(true);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace zrp::transport_test
