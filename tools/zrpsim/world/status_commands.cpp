// Statistics and status of the main daemon.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

struct StatisticRow {
    const char* name;
    const char* type;
    uint64_t (*value)(const World& world);
};

uint64_t up_seconds(const World& world) {
    return static_cast<uint64_t>(world.upTimeMs / 1000);
}

uint64_t packets(const World& world) {
    return total_traffic(world).requests * 5 / 4;
}

uint64_t locks(const World& world) {
    uint64_t count = 0;
    for (const Connection& connection : world.connections) {
        for (const OpenFile& file : connection.files) {
            count += file.locked ? 1 : 0;
        }
    }
    return count;
}

uint64_t licensed(const World& world) {
    return world.connections.size() - count_not_logged_in(world);
}

// As in the server's replies, the up time is among the others.
constexpr std::array kStatistics = std::to_array<StatisticRow>({
    {"packetsAccepted", "unsignedLong", packets},
    {"packetsDumped", "unsignedLong", [](const World& w) { return packets(w) / 90001; }},
    {"serverUpTime", "diffSeconds", up_seconds},
    {"zrpRequests", "unsignedLong", [](const World& w) { return total_traffic(w).requests; }},
    {"zrpDuplicateReplies", "unsignedLong", [](const World& w) { return packets(w) / 40009; }},
    {"bytesRead", "unsignedLong", [](const World& w) { return total_traffic(w).bytesRead; }},
    {"bytesWritten", "unsignedLong", [](const World& w) { return total_traffic(w).bytesWritten; }},
    {"connectionSlotsInUse", "unsignedInt", [](const World& w) { return w.connections.size(); }},
    {"peakConnectionSlots", "unsignedInt", [](const World& w) { return w.peakConnections; }},
    {"notLoggedInCount", "unsignedInt", [](const World& w) { return count_not_logged_in(w); }},
    {"numberOfOpenFiles", "unsignedInt", [](const World& w) { return count_open_files(w); }},
    {"fileLockCount", "unsignedInt", locks},
    {"numberOfMountedVolumes", "unsignedInt", [](const World& w) { return count_mounted(w); }},
    {"volumeCount", "unsignedInt", [](const World& w) { return w.volumes.size(); }},
    {"licensedConnectionCount", "unsignedInt", licensed},
    {"maximumConnectionSlots", "unsignedInt", [](const World&) { return kConnectionSlots; }},
    {"logAllowed", "boolean", [](const World& w) { return uint64_t{w.loginEnabled}; }},
});

// Sends every figure twice: as a typed pair, for clients that list all, and as an element of its
// own, for clients that look for one.
Outcome server_statistics(World& world, pugi::xml_node command, std::string& out) {
    const std::optional<int> version = number_inside(command, "versionTag");
    if (!version || *version < 1) {
        return {kBadRequest, "serverStatistics needs a versionTag"};
    }
    out += '\n';
    std::string elements;
    for (const StatisticRow& row : kStatistics) {
        const std::string value = std::to_string(row.value(world));
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
