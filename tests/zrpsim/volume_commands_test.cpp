#include <ostream>

#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/volume_figures.h"

namespace zrp::sim::volume_commands_test {
namespace {

std::string list_page(World& world, int startIndex, int maxItems) {
    return ask(world, "<listVolumes><startIndex>" + std::to_string(startIndex) +
                          "</startIndex><maxItems>" + std::to_string(maxItems) +
                          "</maxItems></listVolumes>");
}

std::string information(World& world, const std::string& name, int version) {
    return ask(world, "<volumeInformation>\n<volume><name>" + name + "</name><versionTag>" +
                          std::to_string(version) + "</versionTag></volume>\n</volumeInformation>");
}

TEST(ListVolumes, ASmallServerFitsOnePageWithoutAStartIndex) {
    World world = make_world(1, {});
    const std::string reply = ask(world, "<listVolumes></listVolumes>");
    EXPECT_EQ(count_of(reply, "<volume>"), 30U);
    EXPECT_EQ(text_of(reply, "startIndex"), "(none)");
}

TEST(ListVolumes, PagesCoverTheWholeList) {
    World world = make_world(1, {.volumes = 256, .connections = 0});
    size_t seen = 0;
    int pages = 0;
    std::string next = "0";
    while (next != "(none)") {
        const std::string reply =
            ask(world, "<listVolumes><startIndex>" + next + "</startIndex></listVolumes>");
        seen += count_of(reply, "<volume>");
        next = text_of(reply, "startIndex");
        ASSERT_LT(++pages, 20);
    }
    EXPECT_EQ(seen, 256U);
    EXPECT_GT(pages, 1);
}

TEST(ListVolumes, MaxItemsLimitsAPage) {
    World world = make_world(1, {});
    const std::string reply = list_page(world, 25, 3);
    EXPECT_EQ(count_of(reply, "<volume>"), 3U);
    EXPECT_EQ(text_of(reply, "volumeNumber"), "25");
    EXPECT_EQ(text_of(reply, "startIndex"), "28");
}

TEST(ListVolumes, AfterTheLastVolumeThereIsAnEmptyPage) {
    World world = make_world(1, {});
    const std::string reply = list_page(world, 256, 3);
    EXPECT_EQ(reply, "<zrpConsoleReply><listVolumes></listVolumes></zrpConsoleReply>");
}

TEST(ListVolumes, NegativeOrMeaninglessNumbersAreRefused) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(list_page(world, -1, 3)), kBadRequest);
    EXPECT_EQ(refusal_code(list_page(world, 0, 0)), kBadRequest);
    EXPECT_EQ(refusal_code(ask(world, "<listVolumes><startIndex>x</startIndex></listVolumes>")),
              kBadRequest);
}

struct Version {
    int number;
    std::vector<const char*> has;
    std::vector<const char*> lacks;
};

void PrintTo(const Version& row, std::ostream* out) {
    *out << row.number;
}

class VolumeInformationVersion : public testing::TestWithParam<Version> {};

void expect_elements(const std::string& reply, const std::vector<const char*>& tags, bool there) {
    for (const char* tag : tags) {
        EXPECT_EQ(text_of(reply, tag) != "(none)", there) << tag;
    }
}

TEST_P(VolumeInformationVersion, HasItsElements) {
    World world = make_world(1, {});
    const std::string reply = information(world, "DATA", GetParam().number);
    EXPECT_EQ(text_of(reply, "versionTag"), std::to_string(GetParam().number));
    EXPECT_EQ(text_of(reply, "name"), "DATA");
    EXPECT_EQ(text_of(reply, "volumeNumber"), "1");
    EXPECT_EQ(text_of(reply, "mountPoint"), "/media/bks/DATA");
    expect_elements(reply, GetParam().has, true);
    expect_elements(reply, GetParam().lacks, false);
}

const std::vector<const char*> kOld = {"volumeType",
                                       "statusFlags",
                                       "sectorSize",
                                       "sectorPerCluster",
                                       "clustersPerVolume",
                                       "freeClusters",
                                       "directoryEntries",
                                       "unusedDirectoryEntries",
                                       "lastModifiedDateAndTime",
                                       "dcGetEntryCount",
                                       "dcLockEntryCount",
                                       "dcCacheFiles",
                                       "dcCachedSubdirs",
                                       "dcEvictedFiles",
                                       "dcTrusteeCount",
                                       "mountPointType",
                                       "poolName",
                                       "volumeGUID",
                                       "enabledAttributes"};
const std::vector<const char*> kCaches = {
    "dcEvictedSubdirs",       "dcNormalOpenCount",   "dcLazyOpenCount",       "dcLazyCloseCount",
    "dcBackgroundCloseCount", "dcSecurityNodeCount", "dcOverflowEntriesFound"};
const std::vector<const char*> kNew = {"purgeableBlocks", "notYetPurgeableBlocks", "enforcedFlag",
                                       "connectionCount"};

std::vector<const char*> joined(const std::vector<std::vector<const char*>>& lists) {
    std::vector<const char*> all;
    for (const auto& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    VolumeInformation, VolumeInformationVersion,
    testing::Values(Version{1, kOld, joined({kCaches, kNew})},
                    Version{2, kOld, joined({kCaches, kNew})},
                    Version{3, {"enforcedFlag"}, joined({kOld, kCaches, {"connectionCount"}})},
                    Version{4, joined({kOld, kCaches}), kNew},
                    Version{5, joined({kOld, kCaches, kNew}), {"shadowFlags"}},
                    Version{6, joined({kOld, kCaches, kNew, {"shadowFlags"}}), {}}),
    [](const auto& one) { return "V" + std::to_string(one.param.number); });

TEST(VolumeInformation, PoolElementsComeOnlyWithAMountPointType) {
    World world = make_world(1, {});
    const std::string reply = information(world, "SYS", 5);
    EXPECT_EQ(text_of(reply, "mountPointType"), "0");
    EXPECT_EQ(text_of(reply, "poolName"), "(none)");
    EXPECT_EQ(text_of(reply, "volumeGUID"), "(none)");
}

TEST(VolumeInformation, OnlyAVolumeWithAShadowHasAShadowElement) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(information(world, "PROJECTS", 5), "shadow"), "/media/shadow/PROJECTS");
    EXPECT_EQ(text_of(information(world, "DATA", 5), "shadow"), "(none)");
}

TEST(VolumeInformation, NamesOfSixteenCharactersAndWithUmlautsAreFound) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(information(world, "ENGINEERING_2026", 5), "volumeNumber"), "4");
    EXPECT_EQ(text_of(information(world, "MÜNCHEN", 5), "volumeNumber"), "10");
}

TEST(VolumeInformation, UnknownVolumesAndVersionsAreRefused) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(information(world, "NOWHERE", 5)), kNoSuchObject);
    EXPECT_EQ(refusal_code(information(world, "DATA", 7)), kBadRequest);
    EXPECT_EQ(refusal_code(information(world, "DATA", 0)), kBadRequest);
    EXPECT_EQ(refusal_code(ask(world, "<volumeInformation/>")), kBadRequest);
}

TEST(VolumeInformation, NumbersOfOldVersionsFitThirtyTwoBits) {
    World world = make_world(1, {});
    world.volumes[1].clusters = uint64_t{1} << 40U;
    EXPECT_EQ(text_of(information(world, "DATA", 4), "clustersPerVolume"), "4294967295");
    EXPECT_EQ(text_of(information(world, "DATA", 5), "clustersPerVolume"), "1099511627776");
}

TEST(VolumeInformation, CountsTheConnectionsWithAFileOpenThere) {
    World world = make_world(1, {});
    for (Connection& connection : world.connections.change())
        connection.files.clear();
    world.connections.change()[0].files = {{1, "DATA:a", 1, 1, 1, false},
                                           {1, "DATA:b", 2, 1, 1, false}};
    world.connections.change()[1].files = {{1, "DATA:a", 3, 1, 1, false}};
    EXPECT_EQ(text_of(information(world, "DATA", 5), "connectionCount"), "2");
}

} // namespace
} // namespace zrp::sim::volume_commands_test
