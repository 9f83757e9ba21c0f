// Everything that can go wrong between a daemon and its client, on purpose.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zrpsim/world/dispatch.h"

namespace zrp::sim {

// A reply on its way out. Faults spoil it.
struct Delivery {
    uint32_t requestNumber;
    std::string header;
    std::string body;
    bool silent = false;    // nothing is sent and the connection stays open
    size_t headerPiece = 0; // bytes that go out at once, 0 for all
    size_t bodyPiece = 0;
};

Delivery make_delivery(uint32_t requestNumber, std::string body);

struct FaultKind {
    const char* name;
    const char* description;
    void (*spoil)(Delivery& delivery);
};

std::span<const FaultKind> fault_kinds();

// One fault that is switched on, for everything or for one command or socket.
struct Fault {
    const FaultKind* kind;
    std::string target; // empty for everything
};

// The short name of a socket, as targets and log lines give it.
std::string_view short_name(Peer peer);
const char* socket_name(Peer peer);

// Reads KIND[:TARGET]. Returns an empty text, or what is wrong with it.
std::string read_fault(std::string_view text, std::vector<Fault>& faults);

// Whether the peer does not listen.
bool is_refused(std::span<const Fault> faults, Peer peer);

// The first fault that concerns this reply, or null.
const FaultKind* choose_fault(std::span<const Fault> faults, Peer peer, std::string_view command);

} // namespace zrp::sim
