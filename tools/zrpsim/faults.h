// Deliberate faults in the replies of the simulated daemons.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zrpsim/world/dispatch.h"

namespace zrp::sim {

// A reply to be sent. Faults damage it.
struct Delivery {
    uint32_t requestNumber;
    std::string header;
    std::string body;
    bool silent = false;    // send nothing and keep the connection open
    size_t headerPiece = 0; // bytes to send at once, 0 for all
    size_t bodyPiece = 0;
};

Delivery make_delivery(uint32_t requestNumber, std::string body);

struct FaultKind {
    const char* name;
    const char* description;
    void (*damage)(Delivery& delivery);
};

std::span<const FaultKind> fault_kinds();

// A fault in force, for every reply or for those of one command or socket.
struct Fault {
    const FaultKind* kind;
    std::string target; // empty for every reply
};

// The short name of a socket, used in targets and log lines.
std::string_view short_name(Peer peer);
const char* socket_name(Peer peer);

// Reads KIND[:TARGET] and appends it to the faults. Returns an empty text, or what is wrong.
std::string read_fault(std::string_view text, std::vector<Fault>& faults);

// Returns whether a fault keeps the peer from listening.
bool is_refused(std::span<const Fault> faults, Peer peer);

// Returns the first fault that matches this reply, or null.
const FaultKind* choose_fault(std::span<const Fault> faults, Peer peer, std::string_view command);

} // namespace zrp::sim
