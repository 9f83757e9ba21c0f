// The three sockets and their connections. One thread serves all.
#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <asio.hpp>

#include "tools/zrpsim/faults.h"
#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

// The up time. It follows the machine's clock unless it is pinned.
struct SimulatedClock {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    int64_t startMs = 0;
    std::optional<int64_t> pinnedMs;
};

int64_t up_time_ms(const SimulatedClock& clock);

using LocalSocket = asio::local::stream_protocol;

struct Server {
    asio::io_context io{1};
    World world;
    World firstWorld; // as it was at the start
    SimulatedClock clock;
    std::vector<Fault> faults;
    bool verbose = false;
    std::array<std::optional<LocalSocket::acceptor>, kPeers> acceptors;
};

// Opens and closes sockets so that each listens unless a fault refuses it. Throws
// std::runtime_error when a name is in use.
void update_listeners(Server& server);

} // namespace zrp::sim
