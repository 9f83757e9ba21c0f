// The moving figures of a volume, by the names of their elements.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

struct FigureRow {
    const char* tag;
    uint64_t least;
    uint64_t spread;    // how far apart the volumes are
    uint64_t perMinute; // how fast it grows
    uint64_t swing;     // how far it moves up and down
};

// 0 for a dismounted volume. The tag must be one of the table.
uint64_t volume_figure(const World& world, const Volume& volume, std::string_view tag);

uint64_t sum_volume_figure(const World& world, std::string_view tag);

// Clusters that are not in use at the moment.
uint64_t free_clusters(const World& world, const Volume& volume);

} // namespace zrp::sim
