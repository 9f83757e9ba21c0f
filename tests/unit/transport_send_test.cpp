#include <bit>
#include <cerrno>
#include <csignal>
#include <future>
#include <string>
#include <sys/socket.h>

#include "common/result.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/transport_fixture.h"
#include "tools/harness/descriptor.h"

namespace zrp::transport_send_test {
namespace {

using namespace std::chrono_literals;

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

// A text of that size whose every part shows its place.
std::string count_up_to(size_t size) {
    std::string text;
    for (int i = 0; text.size() < size; i++) {
        text += std::to_string(i) + ' ';
    }
    text.resize(size);
    return text;
}

TEST_F(Transport, ARequestLargerThanTheSocketsBufferArrivesWhole) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    const std::string text = count_up_to(3'000'000);
    expect_text(ask(kMainDaemonSocket, text), "x");
    EXPECT_TRUE(peer.requests().at(0).substr(sizeof(RequestHeader)) == text);
}

TEST_F(Transport, TwoPiecesThatAreLargerThanTheSocketsBufferArriveWhole) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("ok"))}});
    IPCServInit(kMainDaemonSocket);
    const std::string part1 = count_up_to(1'000'003);
    const std::string part2 = count_up_to(900'007);
    expect_text(ask_in_pieces(part1, part2), "ok");
    EXPECT_TRUE(peer.requests().at(0).substr(sizeof(RequestHeader)) == part1 + part2);
}

TEST_F(Transport, ASendIntoAFullSocketBeginsWithTheFirstByte) {
    int ends[2] = {};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const harness::Descriptor peer(ends[0]);
    IPCClient client;
    client.fd = ends[1];
    size_t before = 0;
    while (send(client.fd, "#", 1, MSG_DONTWAIT) == 1) {
        before++;
    }
    auto sent = std::async(std::launch::async, [&] { return client.Send(strlen(kText), kText); });
    EXPECT_EQ(sent.wait_for(50ms), std::future_status::timeout);
    std::string received(before + strlen(kText), '\0');
    EXPECT_EQ(recv(peer.get(), received.data(), received.size(), MSG_WAITALL),
              static_cast<ssize_t>(received.size()));
    EXPECT_EQ(sent.get(), kOk);
    EXPECT_EQ(received.substr(before), kText);
}

// A program that closed its standard input may connect over descriptor 0 by itself.
TEST_F(Transport, ARequestIsSentOverDescriptorZero) {
    int ends[2] = {};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const harness::Descriptor connected(ends[0]);
    const harness::Descriptor peer(ends[1]);
    const harness::Descriptor input(dup(STDIN_FILENO));
    ASSERT_EQ(dup2(connected.get(), STDIN_FILENO), STDIN_FILENO);
    {
        IPCClient client;
        client.fd = STDIN_FILENO;
        EXPECT_EQ(client.Send(strlen(kText), kText), kOk);
    }
    ASSERT_EQ(dup2(input.get(), STDIN_FILENO), STDIN_FILENO);
    std::string received(strlen(kText), '\0');
    EXPECT_EQ(recv(peer.get(), received.data(), received.size(), MSG_DONTWAIT),
              static_cast<ssize_t>(received.size()));
    EXPECT_EQ(received, kText);
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

} // namespace
} // namespace zrp::transport_send_test
