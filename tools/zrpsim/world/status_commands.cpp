// Statistics and status of the main daemon.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

struct Census {
    Traffic traffic;
    ConnectionCounts counts;
};

struct StatisticRow {
    const char* name;
    const char* type;
    uint64_t (*value)(const World& world, const Census& census);
};

uint64_t packets(const Census& census) {
    return census.traffic.requests * 5 / 4;
}

// As in the server's replies, the up time is among the others.
constexpr std::array kStatistics = std::to_array<StatisticRow>({
    {"packetsAccepted", "unsignedLong", [](const World&, const Census& c) { return packets(c); }},
    {"packetsDumped", "unsignedLong",
     [](const World&, const Census& c) { return packets(c) / 90001; }},
    {"serverUpTime", "diffSeconds",
     [](const World& w, const Census&) { return static_cast<uint64_t>(w.upTimeMs / 1000); }},
    {"zrpRequests", "unsignedLong",
     [](const World&, const Census& c) { return c.traffic.requests; }},
    {"zrpDuplicateReplies", "unsignedLong",
     [](const World&, const Census& c) { return packets(c) / 40009; }},
    {"bytesRead", "unsignedLong",
     [](const World&, const Census& c) { return c.traffic.bytesRead; }},
    {"bytesWritten", "unsignedLong",
     [](const World&, const Census& c) { return c.traffic.bytesWritten; }},
    {"connectionSlotsInUse", "unsignedInt",
     [](const World& w, const Census&) { return w.connections->size(); }},
    {"peakConnectionSlots", "unsignedInt",
     [](const World& w, const Census&) { return w.peakConnections; }},
    {"notLoggedInCount", "unsignedInt",
     [](const World&, const Census& c) { return c.counts.withoutLogin; }},
    {"numberOfOpenFiles", "unsignedInt",
     [](const World&, const Census& c) { return c.counts.openFiles; }},
    {"fileLockCount", "unsignedInt", [](const World&, const Census& c) { return c.counts.locks; }},
    {"numberOfMountedVolumes", "unsignedInt",
     [](const World& w, const Census&) { return count_mounted(w); }},
    {"volumeCount", "unsignedInt", [](const World& w, const Census&) { return w.volumes.size(); }},
    {"licensedConnectionCount", "unsignedInt",
     [](const World& w, const Census& c) { return w.connections->size() - c.counts.withoutLogin; }},
    {"maximumConnectionSlots", "unsignedInt",
     [](const World&, const Census&) { return kConnectionSlots; }},
    {"logAllowed", "boolean",
     [](const World& w, const Census&) { return uint64_t{w.loginEnabled}; }},
});

// Sends every figure twice: as a typed pair, for clients that list all, and as an element of its
// own, for clients that look for one.
Outcome server_statistics(World& world, pugi::xml_node command, std::string& out) {
    const std::optional<int> version = number_inside(command, "versionTag");
    if (!version || *version < 1) {
        return {kBadRequest, "serverStatistics needs a versionTag"};
    }
    out += '\n';
    const Census census{total_traffic(world), world.connections.counts()};
    std::string elements;
    for (const StatisticRow& row : kStatistics) {
        const std::string value = std::to_string(row.value(world, census));
        typed_parm(out, row.name, row.type, value);
        text_element(elements, row.name, value);
    }
    out += elements;
    return {};
}

constexpr std::array kStatusCommands = std::to_array<CommandRow>({
    {"serverStatistics", "versionTag", server_statistics},
});

} // namespace

std::span<const CommandRow> status_commands() {
    return kStatusCommands;
}

} // namespace zrp::sim
