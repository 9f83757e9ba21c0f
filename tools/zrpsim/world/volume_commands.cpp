// The list of volumes, and the information about one.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/volume_figures.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr int kVolumesOfAPage = 50;
constexpr int kNewestVersion = 6;

// Sets of reply versions, bit n for version n + 1.
constexpr unsigned kFull = 0x3B;     // all but version 3
constexpr unsigned kExtended = 0x38; // 4 and later
constexpr unsigned kWide = 0x30;     // 5 and later: numbers of 64 bits
constexpr unsigned kEnforced = 0x34; // 3, 5 and 6

struct FigureElement {
    const char* tag;
    unsigned versions;
    uint64_t (*value)(const World& world, const Volume& volume); // null: the figure of that name
};

uint64_t last_modified(const World& world, const Volume& volume) {
    if (!is_mounted(volume)) {
        return 0;
    }
    return static_cast<uint64_t>(world.bootEpoch + world.upTimeMs / 1000 / 7 * 7);
}

constexpr std::array kElements = std::to_array<FigureElement>({
    {"volumeType", kFull,
     [](const World&, const Volume& v) -> uint64_t { return (v.status & kBks) != 0 ? 2 : 1; }},
    {"statusFlags", kFull, [](const World&, const Volume& v) -> uint64_t { return v.excluded; }},
    {"sectorSize", kFull, [](const World&, const Volume& v) { return v.sectorSize; }},
    {"sectorPerCluster", kFull, [](const World&, const Volume& v) { return v.sectorPerCluster; }},
    {"clustersPerVolume", kFull, [](const World&, const Volume& v) { return v.clusters; }},
    {"freeClusters", kFull, free_clusters},
    {"purgeableBlocks", kWide, nullptr},
    {"notYetPurgeableBlocks", kWide, nullptr},
    {"directoryEntries", kFull, nullptr},
    {"unusedDirectoryEntries", kFull, nullptr},
    {"lastModifiedDateAndTime", kFull, last_modified},
    {"dcGetEntryCount", kFull, nullptr},
    {"dcLockEntryCount", kFull, nullptr},
    {"dcCacheFiles", kFull, nullptr},
    {"dcCachedSubdirs", kFull, nullptr},
    {"dcEvictedFiles", kFull, nullptr},
    {"dcEvictedSubdirs", kExtended, nullptr},
    {"dcTrusteeCount", kFull, nullptr},
    {"dcNormalOpenCount", kExtended, nullptr},
    {"dcLazyOpenCount", kExtended, nullptr},
    {"dcLazyCloseCount", kExtended, nullptr},
    {"dcBackgroundCloseCount", kExtended, nullptr},
    {"dcSecurityNodeCount", kExtended, nullptr},
    {"dcOverflowEntriesFound", kExtended, nullptr},
    {"enforcedFlag", kEnforced,
     [](const World&, const Volume& v) -> uint64_t { return (v.status & kUserQuotas) != 0; }},
    {"connectionCount", kWide,
     [](const World& w, const Volume& v) -> uint64_t { return count_users(w, v); }},
    {"mountPointType", kFull,
     [](const World&, const Volume& v) -> uint64_t { return (v.status & kBks) != 0; }},
});

void append_pool(const Volume& volume, std::string& out) {
    if ((volume.status & kBks) == 0) {
        return;
    }
    std::string guid = "6b2f0c1e-5d1a-4c57-9a10-0000000000";
    guid += "0123456789abcdef"[volume.number / 16 % 16];
    guid += "0123456789abcdef"[volume.number % 16];
    text_element(out, "poolName", "POOL" + std::to_string(volume.number / 4));
    text_element(out, "volumeGUID", guid);
    hex_element(out, "enabledAttributes", volume.status & kAttributeBits);
}

// Versions below 5 have 32-bit numbers.
uint64_t fitting(uint64_t value, unsigned version) {
    return (version & kWide) != 0 ? value : std::min<uint64_t>(value, UINT32_MAX);
}

void append_information(const World& world, const Volume& volume, int versionTag,
                        std::string& out) {
    const unsigned version = 1U << static_cast<unsigned>(versionTag - 1);
    open_element(out, "volume");
    number_element(out, "versionTag", versionTag);
    text_element(out, "name", volume.name);
    number_element(out, "volumeNumber", volume.number);
    hex_element(out, "status", volume.status);
    for (const FigureElement& row : kElements) {
        if ((row.versions & version) == 0) {
            continue;
        }
        const uint64_t value =
            row.value != nullptr ? row.value(world, volume) : volume_figure(world, volume, row.tag);
        number_element(out, row.tag, fitting(value, version));
    }
    if ((version & kFull) != 0) {
        append_pool(volume, out);
    }
    text_element(out, "mountPoint", volume.mountPoint);
    if (!volume.shadow.empty()) {
        text_element(out, "shadow", volume.shadow);
    }
    if (versionTag >= 6) {
        hex_element(out, "shadowFlags", volume.shadow.empty() ? 0 : 1);
    }
    close_element(out, "volume");
}

Outcome volume_information(World& world, pugi::xml_node command, std::string& out) {
    if (!command.child("volume")) {
        return {kBadRequest, "no volume is named"};
    }
    for (const pugi::xml_node wanted : command.children("volume")) {
        const std::optional<int> version = number_inside(wanted, "versionTag");
        if (!version || *version < 1 || *version > kNewestVersion) {
            return {kBadRequest, "versionTag is not one of 1 to 6"};
        }
        const std::string name = text_inside(wanted, "name");
        const Volume* volume = find_volume(world, name);
        if (volume == nullptr) {
            return {kNoSuchObject, "no such volume: " + name};
        }
        append_information(world, *volume, *version, out);
    }
    return {};
}

void append_entry(const Volume& volume, std::string& out) {
    open_element(out, "volume");
    text_element(out, "name", volume.name);
    hex_element(out, "status", volume.status);
    number_element(out, "volumeNumber", volume.number);
    close_element(out, "volume");
}

// The next page begins at the number in startIndex, which the last page lacks.
Outcome list_volumes(World& world, pugi::xml_node command, std::string& out) {
    Page page{};
    Outcome outcome = read_page(command, kVolumesOfAPage, page);
    if (outcome.code != 0) {
        return outcome;
    }
    auto at = std::lower_bound(world.volumes.begin(), world.volumes.end(), page.startIndex,
                               [](const Volume& one, int number) { return one.number < number; });
    std::string entries;
    for (int i = 0; i < page.maxItems && at != world.volumes.end(); i++) {
        append_entry(*at++, entries);
    }
    if (at != world.volumes.end()) {
        number_element(out, "startIndex", at->number);
    }
    out += entries;
    return {};
}

constexpr std::array kVolumeCommands = std::to_array<CommandRow>({
    {"listVolumes", "startIndex maxItems", list_volumes},
    {"volumeInformation", "volume name versionTag", volume_information},
});

} // namespace

std::span<const CommandRow> volume_commands() {
    return kVolumeCommands;
}

} // namespace zrp::sim
