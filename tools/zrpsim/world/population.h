// The initial state of a world.
#pragma once

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

void make_volumes(World& world, int count);

// Call it after make_volumes: connections have files open on mounted volumes.
void make_connections(World& world, int count);

// Adds connections with the next free stations: logged in as the user, or not logged in when the
// name is empty.
void connect_clients(World& world, int count, std::string_view user);

// Parameters, configuration, filters and counters.
void make_settings(World& world);

// A volume as a management request creates it: mounted, without a shadow, and with a size that
// depends on the seed and its number.
Volume make_volume(const World& world, int number, std::string name);

} // namespace zrp::sim
