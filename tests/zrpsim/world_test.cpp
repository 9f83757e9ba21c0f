#include "tools/zrpsim/world/world.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/volume_figures.h"

namespace zrp::sim::world_test {
namespace {

TEST(World, HasAboutThirtyVolumesAndFiftyConnections) {
    const World world = make_world(1, {});
    EXPECT_EQ(world.volumes.size(), 30U);
    EXPECT_EQ(world.connections->size(), 50U);
    EXPECT_GT(count_mounted(world), 20U);
    EXPECT_LT(count_mounted(world), 30U);
    EXPECT_GT(world.connections.counts().withoutLogin, 2U);
}

TEST(World, OneVolumeNameHasSixteenCharactersAndNoneHasMore) {
    const World world = make_world(1, {.volumes = 256, .connections = 0});
    EXPECT_EQ(std::count_if(world.volumes.begin(), world.volumes.end(),
                            [](const Volume& one) { return one.name.size() == 16; }),
              1);
    for (const Volume& volume : world.volumes)
        EXPECT_LE(volume.name.size(), 16U);
}

TEST(World, SomeVolumeNamesAreNotAscii) {
    const World world = make_world(1, {});
    EXPECT_GT(std::count_if(world.volumes.begin(), world.volumes.end(),
                            [](const Volume& one) {
                                return std::any_of(one.name.begin(), one.name.end(),
                                                   [](char c) { return c < 0; });
                            }),
              2);
}

TEST(World, VolumeNamesAndNumbersAreUnique) {
    const World world = make_world(1, {.volumes = 256, .connections = 0});
    std::set<std::string> names;
    std::set<int> numbers;
    for (const Volume& volume : world.volumes) {
        names.insert(volume.name);
        numbers.insert(volume.number);
    }
    EXPECT_EQ(names.size(), 256U);
    EXPECT_EQ(numbers.size(), 256U);
}

TEST(World, AnotherSeedMakesAnotherWorld) {
    const World one = make_world(1, {});
    const World same = make_world(1, {});
    const World other = make_world(2, {});
    EXPECT_EQ(one.connections->at(0).readPerSecond, same.connections->at(0).readPerSecond);
    EXPECT_NE(one.connections->at(0).readPerSecond, other.connections->at(0).readPerSecond);
}

TEST(World, TrafficOfAConnectionGrowsFromItsLogin) {
    World world = make_world(1, {});
    const Connection& connection = world.connections->front();
    world.upTimeMs = connection.loginMs - 1;
    EXPECT_EQ(traffic_of(world, connection).bytesRead, 0U);
    world.upTimeMs = connection.loginMs + 10000;
    EXPECT_EQ(traffic_of(world, connection).bytesRead, connection.readPerSecond * 10U);
}

TEST(World, OpenFilesAreOnMountedVolumes) {
    World world = make_world(1, {.volumes = 30, .connections = 500});
    EXPECT_GT(world.connections.counts().openFiles, 500U);
    for (const Connection& connection : *world.connections)
        for (const OpenFile& file : connection.files)
            EXPECT_NE(find_volume(world, file.volumeNumber)->status & kMounted, 0U);
}

TEST(World, AWaveStaysBetweenZeroAndItsSwing) {
    World world;
    uint64_t highest = 0;
    for (world.upTimeMs = 0; world.upTimeMs < 20000; world.upTimeMs += 100)
        highest = std::max(highest, wave(world, 50, 10, 3));
    EXPECT_EQ(highest, 49U);
}

TEST(World, AWorldMayHaveAnyNumberOfVolumesAndConnections) {
    EXPECT_TRUE(make_world(1, {.volumes = 0, .connections = 20}).volumes.empty());
    EXPECT_EQ(make_world(1, {.volumes = 0, .connections = 20}).connections.counts().openFiles, 0U);
    EXPECT_EQ(make_world(1, {.volumes = 1, .connections = 0}).volumes.size(), 1U);
}

TEST(Figures, ADismountedVolumeHasNone) {
    World world = make_world(1, {});
    Volume& volume = world.volumes.front();
    EXPECT_GT(volume_figure(world, volume, "dcCacheFiles"), 0U);
    volume.status &= ~kMounted;
    EXPECT_EQ(volume_figure(world, volume, "dcCacheFiles"), 0U);
    EXPECT_EQ(free_clusters(world, volume), volume.clusters);
}

TEST(Figures, CachedFilesMove) {
    World world = make_world(1, {});
    const uint64_t before = volume_figure(world, world.volumes.front(), "dcCacheFiles");
    world.upTimeMs += 3000;
    EXPECT_NE(volume_figure(world, world.volumes.front(), "dcCacheFiles"), before);
}

TEST(Counters, AnEventIsCountedOnce) {
    World world = make_world(1, {});
    const auto rows = storage_counters();
    count_storage_event(world, "Mount volume requests");
    int64_t sum = 0;
    for (const int64_t offset : world.storageOffsets)
        sum += offset;
    EXPECT_EQ(sum, 1);
    EXPECT_EQ(rows.size(), world.storageOffsets.size());
}

TEST(Counters, ValuesWrapAtThirtyTwoBits) {
    const World world = make_world(1, {});
    EXPECT_EQ(counter_value(world, {"x", 1, 0}, 2147483647), INT32_MIN);
}

} // namespace
} // namespace zrp::sim::world_test
