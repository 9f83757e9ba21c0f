#include "common/transport.h"

#include <atomic>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/huge_replies.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"

namespace zrp {
namespace {

using namespace std::chrono_literals;

constexpr const char* kText = "<request/>";
constexpr int kEarlyEnd = 300; // milliseconds of a short receive timeout

// The outcome of one exchange. The reply is copied so that the address sanitizer checks its size.
struct Answer {
    int rc = 0;
    uint64_t length = 0;
    bool null = true;
    std::string text;
};

// Calls a request function and collects its outputs.
template <typename Entry>
Answer take(Entry entry) {
    uint64_t length = 7;
    char unowned = '#';
    char* reply = &unowned;
    Answer answer;
    answer.rc = entry(&length, &reply);
    const HeapText owned(reply);
    answer.length = length;
    answer.null = reply == nullptr;
    answer.text.assign(answer.null ? "" : reply, answer.null ? 0 : length);
    return answer;
}

Answer ask(const char* name = kMainDaemonSocket, const std::string& text = kText) {
    return take([&](uint64_t* length, char** reply) {
        return IPCServRequestEx(name, kMainDaemonRequest, text.size(), text.data(), length, reply);
    });
}

Answer ask_default() {
    return take([](uint64_t* length, char** reply) {
        return IPCServRequest(kMainDaemonRequest, strlen(kText), kText, length, reply);
    });
}

Answer ask_in_time(int32_t timeoutMs) {
    return take([&](uint64_t* length, char** reply) {
        return IPCServRequestTimeout(kManagementSocket, kManagementRequest, strlen(kText), kText,
                                     length, reply, timeoutMs);
    });
}

Answer ask_in_pieces(const std::string& part1, const std::string& part2) {
    return take([&](uint64_t* length, char** reply) {
        return IPCServRequest2(kMainDaemonRequest, part1.size(), part1.data(), part2.size(),
                               part2.data(), length, reply);
    });
}

void expect_nothing(const Answer& answer, int rc, uint64_t announced = 0) {
    EXPECT_EQ(answer.rc, rc);
    EXPECT_TRUE(answer.null);
    EXPECT_EQ(answer.length, announced);
}

void expect_text(const Answer& answer, const std::string& text) {
    EXPECT_EQ(answer.rc, kOk);
    EXPECT_EQ(answer.length, text.size());
    EXPECT_EQ(answer.text, text);
}

std::string words(std::initializer_list<uint32_t> values) {
    std::string bytes;
    for (const uint32_t value : values) {
        char raw[sizeof value];
        memcpy(raw, &value, sizeof value);
        bytes.append(raw, sizeof raw);
    }
    return bytes;
}

// Every test leaves the transport without a default peer and not interrupted.
class Transport : public testing::Test {
protected:
    ~Transport() override {
        IPCServInit("reset");
        IPCServTerm();
    }
};

TEST_F(Transport, ExchangesRequestAndReply) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<reply/>"))}});
    expect_text(ask(), "<reply/>");
}

TEST_F(Transport, TheRequestOnTheWireIsHeaderAndText) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    ask();
    EXPECT_EQ(peer.requests().at(0), words({0xFEDCBA98, 0xDEADBEEF, 10}) + "<request/>");
    if (std::endian::native == std::endian::little) {
        EXPECT_EQ(peer.requests().at(0),
                  std::string("\x98\xBA\xDC\xFE\xEF\xBE\xAD\xDE\x0A\0\0\0<request/>", 22));
    }
}

TEST_F(Transport, AnEmptyRequestIsOnlyAHeader) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply("x")), wait_for_close()}});
    expect_text(ask(kMainDaemonSocket, ""), "x");
    EXPECT_TRUE(peer.wait_for_finished(1));
    EXPECT_EQ(peer.requests().at(0), words({0xFEDCBA98, 0xDEADBEEF, 0}));
}

TEST_F(Transport, OnlyTheLowBitsOfTheLengthReachTheHeader) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_bytes(sizeof(RequestHeader))}});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    EXPECT_EQ(client.SendHeader(kMainDaemonRequest, 0x100000005), kOk);
    ASSERT_TRUE(peer.wait_for_finished(1));
    EXPECT_EQ(peer.requests().at(0), words({0xFEDCBA98, 0xDEADBEEF, 5}));
}

TEST_F(Transport, ARequestInTwoPiecesIsOneTextOnTheWire) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply("x")), wait_for_close()}});
    IPCServInit(kMainDaemonSocket);
    const struct {
        std::string part1;
        std::string part2;
    } cases[] = {{"<a>", "</a>"}, {"", "<b/>"}, {"<c/>", ""}, {"", ""}};
    size_t connection = 0;
    for (const auto& c : cases) {
        expect_text(ask_in_pieces(c.part1, c.part2), "x");
        ASSERT_TRUE(peer.wait_for_finished(connection + 1));
        const std::string text = c.part1 + c.part2;
        EXPECT_EQ(peer.requests().at(connection++),
                  words({0xFEDCBA98, 0xDEADBEEF, static_cast<uint32_t>(text.size())}) + text);
    }
}

TEST_F(Transport, ARequestLargerThanTheSocketsBufferArrivesWhole) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    const std::string text(3'000'000, 'r');
    expect_text(ask(kMainDaemonSocket, text), "x");
    EXPECT_EQ(peer.requests().at(0).size(), sizeof(RequestHeader) + text.size());
}

TEST_F(Transport, TwoPiecesThatAreLargerThanTheSocketsBufferArriveWhole) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("ok"))}});
    IPCServInit(kMainDaemonSocket);
    const std::string part1(1'000'003, 'a');
    const std::string part2(900'007, 'b');
    expect_text(ask_in_pieces(part1, part2), "ok");
    EXPECT_EQ(peer.requests().at(0).substr(sizeof(RequestHeader)), part1 + part2);
}

TEST_F(Transport, AReplyInManyPiecesIsJoined) {
    PeerScript script = {read_request(), send_bytes(reply_header(26))};
    for (const PeerStep& step : send_in_pieces("abcdefghijklmnopqrstuvwxyz", 5)) {
        script.push_back(step);
    }
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    expect_text(ask(), "abcdefghijklmnopqrstuvwxyz");
}

TEST_F(Transport, BytesAfterTheAnnouncedLengthAreNotRead) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(3) + "abcdef")}});
    expect_text(ask(), "abc");
}

TEST_F(Transport, AReplyOfLengthZeroIsNull) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(""))}});
    expect_nothing(ask(), kOk);
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

TEST_F(Transport, WithoutADaemonTheConnectionIsRefused) {
    expect_nothing(ask("nobody"), ECONNREFUSED);
    const RefusingPeer peer(kMainDaemonSocket);
    expect_nothing(ask(), ECONNREFUSED);
    expect_nothing(ask(""), ECONNREFUSED);
}

TEST_F(Transport, WithoutADescriptorTheErrnoOfSocketIsReturned) {
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const Answer answer = ask();
    const Answer inTime = ask_in_time(kEarlyEnd);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    expect_nothing(answer, EMFILE);
    expect_nothing(inTime, EMFILE);
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
                            {{read_request(), send_bytes(reply_header(UINT32_MAX) + "abc")}});
    uint64_t length = 7;
    char* text = nullptr;
    const int rc = IPCServRequestEx(kMainDaemonSocket, kMainDaemonRequest, strlen(kText), kText,
                                    &length, &text);
    const HeapText owned(text);
    if (rc == kNoMemory) {
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(length, UINT32_MAX);
        return;
    }
    EXPECT_EQ(rc, kOk);
    EXPECT_EQ(length, UINT32_MAX);
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

TEST_F(Transport, ATimeoutBeforeTheHeaderIsShort) {
    const ScriptedPeer peer(kManagementSocket, {{read_request(), hang()}});
    const harness::Deadline early{harness::milliseconds{kEarlyEnd}};
    expect_nothing(ask_in_time(kEarlyEnd), kShortHeader);
    EXPECT_TRUE(early.passed());
}

// Milliseconds of one of the socket's two time-outs.
int64_t timeout_of(const IPCClient& client, int option) {
    timeval timeout = {-1, 0};
    socklen_t size = sizeof timeout;
    EXPECT_EQ(getsockopt(client.fd, SOL_SOCKET, option, &timeout, &size), 0);
    return timeout.tv_sec * int64_t{1000} + timeout.tv_usec / 1000;
}

TEST_F(Transport, ATimeOutIsThatOfReceivingAlone) {
    const ScriptedPeer peer(kManagementSocket, {{wait_for_close()}});
    for (const int32_t timeoutMs : {10'000, 2'760, 500}) {
        IPCClient client;
        ASSERT_EQ(client.ConnectTimeout(kManagementSocket, timeoutMs), kOk);
        EXPECT_EQ(timeout_of(client, SO_RCVTIMEO), timeoutMs);
        EXPECT_EQ(timeout_of(client, SO_SNDTIMEO), 0);
    }
}

TEST_F(Transport, ItsAddressMayBeUsedAgain) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    int on = 0;
    socklen_t size = sizeof on;
    ASSERT_EQ(getsockopt(client.fd, SOL_SOCKET, SO_REUSEADDR, &on, &size), 0);
    EXPECT_EQ(on, 1);
    EXPECT_EQ(timeout_of(client, SO_RCVTIMEO), 0);
}

// Reads the reply of a peer that has finished sending, so that only the receiver's timeout matters.
Answer receive_in_time(int32_t timeoutMs) {
    return take([&](uint64_t* length, char** reply) {
        IPCClient client;
        const int rc = client.ConnectTimeout(kManagementSocket, timeoutMs);
        pollfd watched = {client.fd, POLLIN, 0};
        uint32_t status = 0;
        return rc == kOk && poll(&watched, 1, -1) == 1 ? client.Receive(&status, length, reply)
                                                       : rc;
    });
}

TEST_F(Transport, ATimeoutBeforeTheFirstByteLeavesTheReplyUnfilled) {
    const ScriptedPeer peer(kManagementSocket, {{send_bytes(reply_header(3)), hang()}});
    expect_text(receive_in_time(kEarlyEnd), std::string(3, '\0'));
}

// Each timeout moves the position back by one byte, until one at the start ends the body.
TEST_F(Transport, TimeoutsWithinTheBodyEndIt) {
    const ScriptedPeer peer(kManagementSocket, {{send_bytes(reply_header(3) + "ab"), hang()}});
    const harness::Deadline early{harness::milliseconds{3 * kEarlyEnd}};
    expect_text(receive_in_time(kEarlyEnd), std::string("ab\0", 3));
    EXPECT_TRUE(early.passed());
}

TEST_F(Transport, ATimeoutOfZeroWaitsWithoutLimit) {
    const ScriptedPeer peer(kManagementSocket,
                            {{read_request(), pause_for(100ms), send_bytes(reply("late"))}});
    expect_text(ask_in_time(0), "late");
}

TEST_F(Transport, ANegativeTimeoutIsRefused) {
    const ScriptedPeer peer(kManagementSocket, {{read_request(), send_bytes(reply("x"))}});
    expect_nothing(ask_in_time(-1), kInvalid);
    expect_nothing(ask_in_time(INT32_MIN), kInvalid);
    IPCClient client;
    EXPECT_EQ(client.ConnectTimeout(kManagementSocket, -1), kInvalid);
    EXPECT_EQ(client.fd, -1);
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(Transport, WithoutAConnectionASendIsSilentAndAReceiveIsShort) {
    const IPCClient client;
    EXPECT_EQ(client.SendHeader(kMainDaemonRequest, strlen(kText)), kOk);
    EXPECT_EQ(client.Send(strlen(kText), kText), kOk);
    uint32_t status = 7;
    uint64_t length = 7;
    char unowned = '#';
    char* text = &unowned;
    EXPECT_EQ(client.Receive(&status, &length, &text), kShortHeader);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(status, 7U);
    EXPECT_EQ(length, 7U);
}

TEST_F(Transport, AfterAFailedConnectASendIsSilentAndAReceiveIsShort) {
    IPCClient client;
    EXPECT_EQ(client.Connect(kMainDaemonSocket), ECONNREFUSED);
    EXPECT_EQ(client.Send(strlen(kText), kText), kOk);
    uint32_t status = 0;
    uint64_t length = 0;
    char* text = nullptr;
    EXPECT_EQ(client.Receive(&status, &length, &text), kShortHeader);
}

TEST_F(Transport, ASecondConnectClosesTheFirstConnection) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    IPCClient client;
    EXPECT_EQ(client.Connect("nobody"), ECONNREFUSED);
    const int first = client.fd;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    EXPECT_EQ(client.fd, first);
}

TEST_F(Transport, AnExchangeNeverGetsTheNumberOfAStandardStream) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        IPCClient client;
        const bool isAbove = client.Connect(kMainDaemonSocket) == kOk && client.fd > STDERR_FILENO;
        _exit(isAbove && fcntl(STDIN_FILENO, F_GETFD) < 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Transport, ADaemonThatClosesBeforeSendRaisesNoSignal) {
    ScriptedPeer peer(kMainDaemonSocket, {{}});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    ASSERT_TRUE(peer.wait_for_finished(1));
    signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(client.SendHeader(kMainDaemonRequest, strlen(kText)), kOk);
    EXPECT_EQ(client.Send(strlen(kText), kText), kOk);
    uint32_t status = 0;
    uint64_t length = 7;
    char* text = nullptr;
    EXPECT_EQ(client.Receive(&status, &length, &text), kShortHeader);
    EXPECT_EQ(text, nullptr);
}

TEST_F(Transport, ASendOfNothingFails) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    EXPECT_EQ(client.Send(0, kText), kShortHeader);
}

TEST_F(Transport, AClientClosesItsDescriptorButNeverDescriptorZero) {
    int fd = -1;
    {
        const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
        IPCClient client;
        EXPECT_EQ(client.fd, -1);
        ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
        fd = client.fd;
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    const int before = fcntl(0, F_GETFD);
    {
        IPCClient client;
        client.fd = 0;
    }
    EXPECT_EQ(fcntl(0, F_GETFD), before);
}

TEST_F(Transport, ANameOf106CharactersConnects) {
    // The length of an address is part of an abstract name: this one has 109 bytes.
    const std::string name(kMaxSocketName, 'n');
    const ScriptedPeer peer(name, {{read_request(), send_bytes(reply("long"))}});
    expect_text(ask(name.c_str()), "long");
}

TEST(TransportDeathTest, ANameOf107CharactersAborts) {
    const std::string name(kMaxSocketName + 1, 'n');
    EXPECT_EXIT(ask(name.c_str()), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(
        {
            IPCServInit(name.c_str());
            ask_default();
        },
        testing::KilledBySignal(SIGABRT), "");
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

TEST_F(Transport, TermReturnsOnlyAfterTheExchangeInFlightHasEnded) {
    auto peer = std::make_unique<ScriptedPeer>(kMainDaemonSocket,
                                               std::vector<PeerScript>{{read_request(), hang()}});
    IPCServInit(kMainDaemonSocket);
    auto exchange = std::async(std::launch::async, ask_default);
    ASSERT_TRUE(peer->wait_for_connections(1));
    auto term = std::async(std::launch::async, IPCServTerm);
    EXPECT_EQ(term.wait_for(150ms), std::future_status::timeout);
    EXPECT_EQ(exchange.wait_for(0ms), std::future_status::timeout);
    peer.reset();
    EXPECT_EQ(term.wait_for(harness::kPatience), std::future_status::ready);
    expect_nothing(exchange.get(), kShortHeader);
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
} // namespace zrp
