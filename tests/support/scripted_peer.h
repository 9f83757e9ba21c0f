// A daemon that follows a script: raw bytes in, raw bytes out.
//
//     ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<a/>"))}});
//     ... one exchange ...
//     EXPECT_EQ(peer.requests().at(0).substr(12), "<b/>");
//
// Listens from construction to destruction. Each accepted connection follows one script, the first
// connection the first script, and so on; further ones follow the last. A connection is closed at
// the end of its script. Connections are served in parallel, so that one may hang while another is
// answered. All operations may be called from any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "common/transport.h"
#include "tools/harness/deadline.h"
#include "tools/harness/descriptor.h"

namespace zrp {

struct PeerStep {
    enum class Kind {
        kReadBytes,
        kReadRequest,
        kSend,
        kReplyTo,
        kPause,
        kWaitForClose,
        kHang,
        kReset
    };
    Kind kind;
    size_t count = 0;
    std::string bytes = {};
    harness::milliseconds pause{0};
    std::function<std::string(const std::string& request)> choose = {};
};

using PeerScript = std::vector<PeerStep>;

PeerStep read_bytes(size_t count); // exactly so many, or fewer if the client closes
PeerStep read_request();           // header and the text whose length it gives
PeerStep send_bytes(std::string bytes);
// Sends the bytes chosen for the request read so far. The function gets the request without its
// header, on the connection's own thread.
PeerStep reply_to(std::function<std::string(const std::string& request)> choose);
PeerStep pause_for(harness::milliseconds time); // so that pieces arrive separately
PeerStep wait_for_close();                      // reads on until the client closes
PeerStep hang();                                // does nothing until the peer is destroyed
PeerStep reset(); // closes with the request unread: the client gets an error instead of an end

// The steps that send the bytes in pieces of the given size, with a pause between them.
PeerScript send_in_pieces(std::string_view bytes, size_t size,
                          harness::milliseconds pauseBetween = harness::milliseconds{2});

// The 12 bytes before a reply.
std::string reply_header(uint32_t length, uint32_t status = 0, uint32_t magic = kMagic);

// A text with its header.
std::string reply(std::string_view text, uint32_t status = 0);

class ScriptedPeer {
public:
    ScriptedPeer(std::string_view name, std::vector<PeerScript> scripts);
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;
    ~ScriptedPeer();

    // The bytes received on each connection so far, in the order of acceptance.
    [[nodiscard]] std::vector<std::string> requests() const;

    [[nodiscard]] size_t connections() const;

    // Wait until so many connections have been accepted, or have finished their scripts.
    bool wait_for_connections(size_t count, harness::milliseconds patience = harness::kPatience);
    bool wait_for_finished(size_t count, harness::milliseconds patience = harness::kPatience);

private:
    void accept_all();
    void serve(harness::Descriptor connection, size_t index);
    bool follow(const PeerStep& step, const harness::Descriptor& connection, size_t index);
    bool receive(const harness::Descriptor& connection, size_t index, size_t count);
    bool receive_request(const harness::Descriptor& connection, size_t index);
    bool send_all(const harness::Descriptor& connection, std::string_view bytes);
    bool wait_for(int fd, short events, int timeout = -1) const;

    const std::vector<PeerScript> scripts_;
    harness::Descriptor listener_;
    harness::Descriptor stopReader_; // readable when the peer must stop
    harness::Descriptor stopWriter_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> requests_;
    size_t finished_ = 0;

    std::vector<std::thread> servers_; // used by the accepting thread, then by the destructor
    std::thread acceptor_;
};

// Binds a name without listening, so that connections are refused.
class RefusingPeer {
public:
    explicit RefusingPeer(std::string_view name);

private:
    harness::Descriptor socket_;
};

} // namespace zrp
