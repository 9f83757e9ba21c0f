#include "tests/support/scripted_peer.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>

#include "tests/support/needs.h"

namespace zrp::scripted_peer_test {
namespace {

using harness::Descriptor;

const std::string kName = kManagementSocket;

// Connects as a plain client. Returns the descriptor, or none and sets errno.
Descriptor connected() {
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    kName.copy(&address.sun_path[1], sizeof address.sun_path - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + kName.size());
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        return {};
    }
    return fd;
}

void put(const Descriptor& fd, const std::string& bytes) {
    ASSERT_EQ(send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

std::string take(const Descriptor& fd) {
    std::array<char, 4096> block{};
    const ssize_t got = recv(fd.get(), block.data(), block.size(), 0);
    return got < 0 ? "(error)" : std::string(block.data(), static_cast<size_t>(got));
}

std::string take_all(const Descriptor& fd) {
    std::string all;
    for (std::string some = take(fd); !some.empty(); some = take(fd)) {
        all += some;
    }
    return all;
}

std::string request(const std::string& text) {
    const RequestHeader header{kMagic, kMainDaemonRequest, static_cast<uint32_t>(text.size())};
    std::string bytes(sizeof header, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes + text;
}

TEST(ScriptedPeer, ReadsAWholeRequestAndAnswers) {
    ScriptedPeer peer(kName, {{read_request(), send_bytes(reply("<answer/>", 7))}});
    const Descriptor client = connected();
    put(client, request("<que").substr(0, 5));
    put(client, request("<que").substr(5));
    EXPECT_EQ(take_all(client), reply_header(9, 7) + "<answer/>");
    EXPECT_TRUE(peer.wait_for_finished(1));
    EXPECT_EQ(peer.requests().at(0), request("<que"));
}

TEST(ScriptedPeer, FollowsOneScriptAfterAnother) {
    ScriptedPeer peer(kName, {{send_bytes("first")}, {send_bytes("later")}});
    EXPECT_EQ(take_all(connected()), "first");
    EXPECT_EQ(take_all(connected()), "later");
    EXPECT_EQ(take_all(connected()), "later");
    EXPECT_EQ(peer.connections(), 3U);
}

TEST(ScriptedPeer, SendsInPieces) {
    // The client may read late and find several pieces, so the steps are checked and the time.
    constexpr harness::milliseconds kPause{20};
    const PeerScript script = send_in_pieces("abcdefgh", 3, kPause);
    std::vector<std::string> pieces;
    for (const PeerStep& step : script) {
        if (step.kind == PeerStep::Kind::kSend) {
            pieces.push_back(step.bytes);
        } else {
            EXPECT_EQ(step.kind, PeerStep::Kind::kPause);
            EXPECT_EQ(step.pause, kPause);
        }
    }
    EXPECT_EQ(pieces, (std::vector<std::string>{"abc", "def", "gh"}));
    const auto start = std::chrono::steady_clock::now();
    const ScriptedPeer peer(kName, {script});
    EXPECT_EQ(take_all(connected()), "abcdefgh");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 3 * kPause);
}

TEST(ScriptedPeer, ClosesEarly) {
    ScriptedPeer peer(kName, {{read_bytes(4)}});
    const Descriptor client = connected();
    put(client, "1234");
    EXPECT_EQ(take(client), "");
    EXPECT_EQ(peer.requests().at(0), "1234");
}

TEST(ScriptedPeer, WaitsUntilTheClientCloses) {
    ScriptedPeer peer(kName, {{wait_for_close()}});
    Descriptor client = connected();
    put(client, "12");
    ASSERT_TRUE(peer.wait_for_connections(1));
    const harness::Deadline deadline(harness::kPatience);
    while (peer.requests().at(0) != "12" && !deadline.passed()) {
        EXPECT_FALSE(peer.wait_for_finished(1, harness::milliseconds{2}));
    }
    EXPECT_FALSE(peer.wait_for_finished(1, harness::milliseconds{0}));
    put(client, "34");
    client.reset();
    EXPECT_TRUE(peer.wait_for_finished(1));
    EXPECT_EQ(peer.requests().at(0), "1234");
}

TEST(ScriptedPeer, HangsOnOneConnectionAndServesAnother) {
    ScriptedPeer peer(kName, {{hang()}, {send_bytes("served")}});
    const Descriptor silent = connected();
    ASSERT_TRUE(peer.wait_for_connections(1));
    EXPECT_EQ(take_all(connected()), "served");
    std::array<char, 1> byte{};
    EXPECT_EQ(recv(silent.get(), byte.data(), 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(ScriptedPeer, ItsDestructionEndsTheHanging) {
    Descriptor silent;
    {
        ScriptedPeer peer(kName, {{hang()}});
        silent = connected();
        ASSERT_TRUE(peer.wait_for_connections(1));
    }
    EXPECT_EQ(take(silent), "");
    EXPECT_FALSE(connected());
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST(ScriptedPeer, ResetsTheConnection) {
    const ScriptedPeer peer(kName, {{reset()}});
    const Descriptor client = connected();
    put(client, "unread");
    EXPECT_EQ(take(client), "(error)");
    EXPECT_EQ(errno, ECONNRESET);
}

TEST(ScriptedPeer, ANameWithoutAListenerRefuses) {
    const RefusingPeer peer(kName);
    EXPECT_FALSE(connected());
    EXPECT_EQ(errno, ECONNREFUSED);
}

} // namespace
} // namespace zrp::scripted_peer_test
