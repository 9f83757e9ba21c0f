// From the bytes of a request to the bytes of its reply.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

enum class Peer { kMainDaemon, kStorageDaemon, kManagement };

inline constexpr int kPeers = 3;

struct Answer {
    std::string command; // the request's command element, "?" when it could not be read
    std::string text;
};

// Answers one request that arrived on the peer's socket. Refusals are replies too.
Answer answer_request(World& world, Peer peer, uint32_t requestNumber, std::string_view request);

// A reply that refuses a request, in the envelope for its request number.
std::string refusal_text(uint32_t requestNumber, int code, std::string_view description);

// Returns whether any daemon knows the command.
bool is_command(std::string_view name);

} // namespace zrp::sim
