// What a world starts with.
#pragma once

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

void make_volumes(World& world, int count);

// Needs the volumes: connections have files open on the mounted ones.
void make_connections(World& world, int count);

// Parameters, configuration, filters and counters.
void make_settings(World& world);

// A volume as a management request makes it: mounted, without a shadow, of a size that depends on
// the seed and its number.
Volume make_volume(const World& world, int number, std::string name);

} // namespace zrp::sim
