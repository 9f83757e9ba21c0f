#include "common/transport_receive.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "common/heap_text.h"
#include "common/interrupt.h"
#include "common/result.h"
#include "common/wait_listener.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/huge_replies.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/transport_fixture.h"

namespace zrp::transport_receive_test {
namespace {

using namespace std::chrono_literals;

TEST_F(Transport, AReplyInManyPiecesIsJoined) {
    PeerScript script = {read_request(), send_bytes(reply_header(26))};
    for (const PeerStep& step : send_in_pieces("abcdefghijklmnopqrstuvwxyz", 5)) {
        script.push_back(step);
    }
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    expect_text(ask(), "abcdefghijklmnopqrstuvwxyz");
}

TEST(PauseAfterPiece, BeginsAfterSixteenSmallOnesInARowAndDoubles) {
    SmallPieces pieces;
    const auto expect_pauses = [&] {
        for (int i = 0; i < 16; i++) {
            EXPECT_EQ(pause_after_piece(&pieces, 4095), 0ms) << i;
        }
        for (const auto pause : {2ms, 4ms, 8ms, 16ms, 32ms, 64ms, 128ms, 128ms, 128ms}) {
            EXPECT_EQ(pause_after_piece(&pieces, 1), pause);
        }
    };
    expect_pauses();
    EXPECT_EQ(pause_after_piece(&pieces, 4096), 0ms);
    expect_pauses();
}

int pauses = 0;

void count_pause() {
    pauses++;
}

// Receives a reply whose body comes in packets of one byte, each of them a piece, and returns how
// often that paused.
int count_pauses(int packets, const timeval& timeout, const Bounds& bounds) {
    int ends[2] = {};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const harness::Descriptor peer(ends[0]);
    IPCClient client;
    client.fd = ends[1];
    const std::string header = reply_header(static_cast<uint32_t>(packets));
    EXPECT_EQ(send(peer.get(), header.data(), header.size(), MSG_DONTWAIT),
              static_cast<ssize_t>(header.size()));
    for (int i = 0; i < packets; i++) {
        EXPECT_EQ(send(peer.get(), "x", 1, MSG_DONTWAIT), 1);
    }
    pauses = 0;
    set_wait_listener(count_pause);
    uint32_t status = 0;
    uint64_t length = 0;
    char* buffer = nullptr;
    EXPECT_EQ(receive_reply(client, timeout, bounds, &status, &length, &buffer), kOk);
    set_wait_listener(nullptr);
    const HeapText text(buffer);
    EXPECT_EQ(std::string(text.get(), length), std::string(static_cast<size_t>(packets), 'x'));
    return pauses;
}

TEST(PauseAfterPiece, IsNotMadeAfterTheLastOne) {
    EXPECT_EQ(count_pauses(17, {}, {}), 0);
    EXPECT_EQ(count_pauses(19, {}, {}), 2);
    Bounds whole;
    whole.wholeReply = true;
    EXPECT_EQ(count_pauses(17, {}, whole), 0);
    EXPECT_EQ(count_pauses(19, {}, whole), 2);
}

TEST(PauseAfterPiece, IsNotMadeWhereAReceiveHasATimeout) {
    EXPECT_EQ(count_pauses(19, {1, 0}, {}), 0);
}

// A program that closed its standard input connects over descriptor 0.
TEST_F(Transport, AReplyIsReadFromDescriptorZero) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("abc"))}});
    IPCClient connected;
    ASSERT_EQ(connected.Connect(kMainDaemonSocket), kOk);
    ASSERT_EQ(connected.SendHeader(0, 0), kOk);
    const harness::Descriptor input(dup(STDIN_FILENO));
    ASSERT_EQ(dup2(connected.fd, STDIN_FILENO), STDIN_FILENO);
    uint32_t status = 0;
    uint64_t length = 0;
    char* buffer = nullptr;
    {
        IPCClient client;
        client.fd = STDIN_FILENO;
        EXPECT_EQ(client.Receive(&status, &length, &buffer), kOk);
    }
    ASSERT_EQ(dup2(input.get(), STDIN_FILENO), STDIN_FILENO);
    const HeapText text(buffer);
    EXPECT_EQ(std::string(text.get(), length), "abc");
}

TEST_F(Transport, BytesAfterTheAnnouncedLengthAreNotRead) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(3) + "abcdef")},
                             {read_request(), send_bytes(reply_header(3) + "ab"), pause_for(20ms),
                              send_bytes("cdef")}});
    expect_text(ask(), "abc");
    expect_text(ask(), "abc");
}

TEST_F(Transport, AReplyOfLengthZeroIsNull) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(""))}});
    expect_nothing(ask(), kOk);
}

TEST_F(Transport, AByteSwappedMagicIsBad) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(words({0x98BADCFE, 3, 0}) + "abc")}});
    expect_nothing(ask(), kBadMagic);
}

TEST_F(Transport, AWrongMagicIsBad) {
    for (const uint32_t magic : {0U, 0xFEDCBA99U}) {
        const ScriptedPeer peer(kMainDaemonSocket,
                                {{read_request(), send_bytes(reply_header(3, 0, magic) + "abc")}});
        expect_nothing(ask(), kBadMagic);
    }
}

TEST_F(Transport, AHeaderThatArrivesInTwoPartsIsShort) {
    const std::string bytes = reply("abc");
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(bytes.substr(0, 8)),
                                                 wait_for_close(), send_bytes(bytes.substr(8))}});
    expect_nothing(ask(), kShortHeader);
}

TEST_F(Transport, APeerThatClosesWithoutAHeaderIsShort) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request()}});
    expect_nothing(ask(), kShortHeader);
}

TEST_F(Transport, APeerThatFailsBeforeTheHeaderIsShort) {
    const ScriptedPeer peer(kMainDaemonSocket, {{reset()}});
    expect_nothing(ask(), kShortHeader);
}

TEST_F(Transport, APeerThatClosesAfterTheHeaderLeavesTheReplyUnfilled) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply_header(100))}});
    expect_text(ask(), std::string(100, '\0'));
}

TEST_F(Transport, APeerThatClosesWithinTheBodyLeavesTheRestUnfilled) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(6) + "abc")}});
    expect_text(ask(), std::string("abc\0\0\0", 6));
}

TEST_F(Transport, BytesThatAreNotSentAreZeroInAUsedBlockToo) {
    constexpr uint32_t kLength = 4096;
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(kLength) + "abc")}});
    char* used = static_cast<char*>(malloc(kLength));
    memset(used, '#', kLength);
    asm volatile("" : : "r"(used) : "memory"); // or the compiler leaves it unwritten
    free(used);
    expect_text(ask(), "abc" + std::string(kLength - 3, '\0'));
}

TEST_F(Transport, AFailureBeforeTheFirstByteEndsTheBody) {
    const ScriptedPeer peer(kMainDaemonSocket, {{send_bytes(reply_header(6)), reset()}});
    expect_text(ask(), std::string(6, '\0'));
}

TEST_F(Transport, AFailureWithinTheBodyGoesOnToItsEnd) {
    const ScriptedPeer peer(kMainDaemonSocket, {{send_bytes(reply_header(6) + "abc"), reset()}});
    expect_text(ask(), std::string("abc\0\0\0", 6));
}

// The largest length that a header can announce. The test must touch only the first bytes of the
// block, because untouched pages take no memory.
TEST_F(Transport, AReplyOfFourGigabytesIsReadAsFarAsItArrives) {
    ZRP_NEEDS_MEMORY_FOR_HUGE_REPLIES();
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(kHugeLength) + "abc")}});
    uint64_t length = 7;
    char* text = nullptr;
    const int rc = IPCServRequestEx(kMainDaemonSocket, kMainDaemonRequest, strlen(kText), kText,
                                    &length, &text);
    const HeapText owned(text);
    if (rc == kNoMemory) {
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(length, kHugeLength);
        return;
    }
    EXPECT_EQ(rc, kOk);
    EXPECT_EQ(length, kHugeLength);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(text[length - 1], '\0');
}

TEST_F(Transport, WithoutMemoryForTheReplyThereIsNone) {
    constexpr uint32_t kLength = 123456;
    const FailingMalloc failing(kLength);
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(kLength, 5) + "abc")}});
    expect_nothing(ask(), kNoMemory, kLength);
    expect_nothing(take([](uint64_t* length, char** reply) {
                       return IPCServRequestTimeout(kMainDaemonSocket, 0, 1, "x", length, reply, 0);
                   }),
                   kNoMemory, kLength);
}

TEST_F(Transport, WithoutMemoryForALongReplyThereIsNone) {
    constexpr uint32_t kLength = 40 << 20;
    const FailingAllocation failing(kLength);
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(kLength) + "abc")}});
    expect_nothing(ask(), kNoMemory, kLength);
}

TEST_F(Transport, ATimeoutBeforeTheHeaderIsShort) {
    const ScriptedPeer peer(kManagementSocket, {{read_request(), hang()}});
    const harness::Deadline early{harness::milliseconds{kEarlyEnd}};
    expect_nothing(ask_in_time(kEarlyEnd), kShortHeader);
    EXPECT_TRUE(early.passed());
}

// Reads the reply of a peer that has finished sending, so that only the receiver's timeout matters.
int receive_in_time(int32_t timeoutMs, uint64_t* length, char** reply) {
    IPCClient client;
    const int rc = client.ConnectTimeout(kManagementSocket, timeoutMs);
    pollfd watched = {client.fd, POLLIN, 0};
    uint32_t status = 0;
    return rc == kOk && poll(&watched, 1, -1) == 1 ? client.Receive(&status, length, reply) : rc;
}

TEST_F(Transport, ATimeoutBeforeTheFirstByteLeavesTheReplyUnfilled) {
    const ScriptedPeer peer(kManagementSocket, {{send_bytes(reply_header(3)), hang()}});
    expect_text(take([](uint64_t* length, char** reply) {
                    return receive_in_time(kEarlyEnd, length, reply);
                }),
                std::string(3, '\0'));
}

// Each timeout moves the position back by one byte, until one at the start ends the body.
TEST_F(Transport, TimeoutsWithinTheBodyEndIt) {
    const ScriptedPeer peer(kManagementSocket, {{send_bytes(reply_header(3) + "ab"), hang()}});
    const harness::Deadline early{harness::milliseconds{3 * kEarlyEnd}};
    expect_text(take([](uint64_t* length, char** reply) {
                    return receive_in_time(kEarlyEnd, length, reply);
                }),
                std::string("ab\0", 3));
    EXPECT_TRUE(early.passed());
}

long times_asleep() {
    rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

// The kernel frees a piece that the daemon has taken, which is room for more, but no input.
TEST_F(Transport, AWaitForAReplySleepsWhileTheDaemonTakesTheRequest) {
    constexpr int kPieces = 20;
    PeerScript script = {read_bytes(sizeof(RequestHeader))};
    for (int i = 0; i < kPieces; i++) {
        script.push_back(read_bytes(1));
        script.push_back(pause_for(3ms));
    }
    script.push_back(send_bytes(reply("taken")));
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    ASSERT_EQ(client.SendHeader(kMainDaemonRequest, kPieces), kOk);
    for (int i = 0; i < kPieces; i++) {
        ASSERT_EQ(client.Send(1, "x"), kOk);
    }
    const long before = times_asleep();
    const auto start = std::chrono::steady_clock::now();
    expect_text(take([&](uint64_t* length, char** reply) {
                    uint32_t status = 0;
                    return client.Receive(&status, length, reply);
                }),
                "taken");
    // It looks for an interrupt now and then.
    const auto looks = (std::chrono::steady_clock::now() - start) / kInterruptSlice;
    EXPECT_LE(times_asleep() - before, looks + 3);
}

TEST_F(Transport, ATimeoutOfZeroWaitsWithoutLimit) {
    const ScriptedPeer peer(kManagementSocket,
                            {{read_request(), pause_for(100ms), send_bytes(reply("late"))}});
    expect_text(ask_in_time(0), "late");
}

} // namespace
} // namespace zrp::transport_receive_test
