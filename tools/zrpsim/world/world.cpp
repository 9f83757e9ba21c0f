#include "tools/zrpsim/world/world.h"

#include <algorithm>

#include "tools/zrpsim/world/population.h"

namespace zrp::sim {

uint64_t scatter(uint64_t seed, uint64_t stream, uint64_t index) {
    uint64_t z = seed * 0x9E3779B97F4A7C15U + stream * 0xD1B54A32D192ED03U + index;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    z ^= z >> 31U;
    z = (z + stream) * 0xBF58476D1CE4E5B9U;
    return z ^ (z >> 29U);
}

World make_world(uint64_t seed, WorldSize size) {
    World world;
    world.seed = seed;
    make_volumes(world, size.volumes);
    make_connections(world, size.connections);
    make_settings(world);
    return world;
}

uint64_t grown(const World& world, uint64_t base, uint64_t perMinute) {
    return base + perMinute * static_cast<uint64_t>(world.upTimeMs) / 60000;
}

uint64_t wave(const World& world, uint64_t swing, uint64_t periodSeconds, uint64_t phase) {
    const uint64_t period = std::max<uint64_t>(periodSeconds, 2) * 1000;
    const uint64_t at = (static_cast<uint64_t>(world.upTimeMs) + phase) % period;
    const uint64_t climb = at < period / 2 ? at : period - at;
    return swing * climb * 2 / period;
}

Volume* find_volume(World& world, std::string_view name) {
    auto at = std::find_if(world.volumes.begin(), world.volumes.end(),
                           [&](const Volume& volume) { return volume.name == name; });
    return at == world.volumes.end() ? nullptr : &*at;
}

Volume* find_volume(World& world, int number) {
    auto at = std::find_if(world.volumes.begin(), world.volumes.end(),
                           [&](const Volume& volume) { return volume.number == number; });
    return at == world.volumes.end() ? nullptr : &*at;
}

std::vector<Connection>::const_iterator connections_from(const World& world, int station) {
    return std::lower_bound(
        world.connections->begin(), world.connections->end(), station,
        [](const Connection& connection, int wanted) { return connection.station < wanted; });
}

const Connection* find_connection(const World& world, int station) {
    auto at = connections_from(world, station);
    return at == world.connections->end() || at->station != station ? nullptr : &*at;
}

Traffic traffic_of(const World& world, const Connection& connection) {
    return traffic_until(world.upTimeMs, connection);
}

Traffic total_traffic(const World& world) {
    Traffic total = world.closedTraffic;
    add_traffic(total, world.connections.traffic_until(world.upTimeMs));
    return total;
}

size_t count_mounted(const World& world) {
    return static_cast<size_t>(
        std::count_if(world.volumes.begin(), world.volumes.end(),
                      [](const Volume& volume) { return (volume.status & kMounted) != 0; }));
}

size_t count_users(const World& world, const Volume& volume) {
    auto uses = [&](const Connection& connection) {
        return std::any_of(
            connection.files.begin(), connection.files.end(),
            [&](const OpenFile& file) { return file.volumeNumber == volume.number; });
    };
    return static_cast<size_t>(
        std::count_if(world.connections->begin(), world.connections->end(), uses));
}

void close_files_of(World& world, const Volume& volume) {
    for (Connection& connection : world.connections.change()) {
        std::erase_if(connection.files,
                      [&](const OpenFile& file) { return file.volumeNumber == volume.number; });
    }
}

} // namespace zrp::sim
