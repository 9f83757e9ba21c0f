#include "tools/zrpsim/world/volume_figures.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace zrp::sim {
namespace {

constexpr uint64_t kFigureStream = 100; // of the first row; each row has a stream of its own

constexpr std::array kFigures = std::to_array<FigureRow>({
    {"usedClusters", 20000, 3000000, 40, 900},
    {"purgeableBlocks", 500, 90000, 6, 300},
    {"notYetPurgeableBlocks", 50, 9000, 0, 120},
    {"directoryEntries", 4000, 900000, 9, 200},
    {"unusedDirectoryEntries", 100, 30000, 0, 400},
    {"dcGetEntryCount", 90000, 5000000, 700, 0},
    {"dcLockEntryCount", 300, 20000, 20, 40},
    {"dcCacheFiles", 1500, 60000, 3, 400},
    {"dcCachedSubdirs", 200, 7000, 1, 90},
    {"dcEvictedFiles", 1000, 200000, 30, 0},
    {"dcEvictedSubdirs", 100, 20000, 3, 0},
    {"dcTrusteeCount", 12, 900, 0, 0},
    {"dcNormalOpenCount", 800, 70000, 25, 0},
    {"dcLazyOpenCount", 400, 30000, 14, 0},
    {"dcLazyCloseCount", 390, 29000, 14, 0},
    {"dcBackgroundCloseCount", 100, 9000, 5, 0},
    {"dcSecurityNodeCount", 40, 3000, 0, 12},
    {"dcOverflowEntriesFound", 0, 40, 0, 0},
});

} // namespace

uint64_t volume_figure(const World& world, const Volume& volume, std::string_view tag) {
    const auto* row = std::find_if(kFigures.begin(), kFigures.end(),
                                   [&](const FigureRow& one) { return tag == one.tag; });
    if (row == kFigures.end()) {
        throw std::logic_error("no figure " + std::string(tag));
    }
    if ((volume.status & kMounted) == 0) {
        return 0;
    }
    if (volume.purged && tag == "purgeableBlocks") {
        return 0;
    }
    const auto stream = kFigureStream + static_cast<uint64_t>(row - kFigures.begin());
    const uint64_t draw = scatter(world.seed, stream, static_cast<uint64_t>(volume.number));
    return grown(world, row->least + draw % row->spread, row->perMinute) +
           wave(world, row->swing, 20 + draw % 40, draw % 60000);
}

uint64_t sum_volume_figure(const World& world, std::string_view tag) {
    uint64_t sum = 0;
    for (const Volume& volume : world.volumes) {
        sum += volume_figure(world, volume, tag);
    }
    return sum;
}

uint64_t free_clusters(const World& world, const Volume& volume) {
    if (volume.percentUsed >= 0) {
        return volume.clusters - volume.clusters * static_cast<uint64_t>(volume.percentUsed) / 100;
    }
    const uint64_t used = volume_figure(world, volume, "usedClusters");
    return volume.clusters - std::min(used, volume.clusters);
}

} // namespace zrp::sim
