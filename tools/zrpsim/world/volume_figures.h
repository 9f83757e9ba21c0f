// The moving figures of volumes, by the names of their elements.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

struct FigureRow {
    const char* tag;
    uint64_t least;
    uint64_t spread;    // between the volumes
    uint64_t perMinute; // growth
    uint64_t swing;     // up and down
};

// Returns 0 for a dismounted volume. The tag must be in the table.
uint64_t volume_figure(const World& world, const Volume& volume, std::string_view tag);

uint64_t sum_volume_figure(const World& world, std::string_view tag);

// Clusters that are not in use.
uint64_t free_clusters(const World& world, const Volume& volume);

} // namespace zrp::sim
