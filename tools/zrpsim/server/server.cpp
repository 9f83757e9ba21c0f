#include "tools/zrpsim/server/server.h"

#include <cstdio>
#include <stdexcept>

#include "tools/zrpsim/server/session.h"

namespace zrp::sim {
namespace {

void accept_next(Server& server, Peer peer) {
    std::optional<LocalSocket::acceptor>& acceptor = server.acceptors.at(static_cast<size_t>(peer));
    acceptor->async_accept([&server, peer](std::error_code error, LocalSocket::socket socket) {
        if (error == asio::error::operation_aborted) {
            return;
        }
        if (!error) {
            start_session(server, peer, std::move(socket));
        }
        accept_next(server, peer);
    });
}

// A leading zero byte puts the name into the abstract namespace.
LocalSocket::endpoint endpoint_of(Peer peer) {
    return {std::string(1, '\0') + socket_name(peer)};
}

void listen_on(Server& server, Peer peer) {
    LocalSocket::acceptor acceptor(server.io);
    acceptor.open();
    std::error_code error;
    acceptor.bind(endpoint_of(peer), error);
    if (error) {
        throw std::runtime_error("socket name \"" + std::string(socket_name(peer)) +
                                 "\": " + error.message());
    }
    acceptor.listen();
    server.acceptors.at(static_cast<size_t>(peer)) = std::move(acceptor);
    accept_next(server, peer);
}

} // namespace

int64_t up_time_ms(const SimulatedClock& clock) {
    if (clock.pinnedMs) {
        return *clock.pinnedMs;
    }
    const auto passed = std::chrono::steady_clock::now() - clock.start;
    return clock.startMs + std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

void update_listeners(Server& server) {
    for (int i = 0; i < kPeers; i++) {
        const auto peer = static_cast<Peer>(i);
        std::optional<LocalSocket::acceptor>& acceptor =
            server.acceptors.at(static_cast<size_t>(i));
        const bool wanted = !is_refused(server.faults, peer);
        if (wanted && !acceptor) {
            listen_on(server, peer);
        }
        if (!wanted) {
            acceptor.reset();
        }
    }
}

} // namespace zrp::sim
