#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::storage_commands_test {
namespace {

std::string exclusion(World& world, const std::string& request) {
    return ask_storage(world, "<exclusion_control>\n" + request + "\n</exclusion_control>");
}

std::string act(World& world, const std::string& action, const std::string& name,
                const std::string& switches = "") {
    return exclusion(world, "<" + action + "><volumeName>" + name + "</volumeName>" + switches +
                                "</" + action + ">");
}

std::string filter(World& world, const std::string& request) {
    return ask_storage(world, "<filter>\n" + request + "\n</filter>");
}

TEST(Exclusion, BothListsTogetherNameEveryBksVolumeOnce) {
    World world = make_world(1, {});
    const std::string reply = exclusion(world, "<listVolumes><all/></listVolumes>");
    EXPECT_EQ(count_of(reply, "<volumeName>"), 20U);
    EXPECT_EQ(count_of(text_of(reply, "zrpexcluded"), "<volumeName>"), 3U);
    EXPECT_LT(reply.find("<zrpexcluded>"), reply.find("<zrpincluded>"));
}

TEST(Exclusion, EitherListCanBeRequestedAlone) {
    World world = make_world(1, {});
    const std::string excluded = exclusion(world, "<listVolumes><zrpexcluded/></listVolumes>");
    EXPECT_NE(text_of(excluded, "zrpexcluded"), "(none)");
    EXPECT_EQ(text_of(excluded, "zrpincluded"), "(none)");
    const std::string included = exclusion(world, "<listVolumes><zrpincluded/></listVolumes>");
    EXPECT_EQ(text_of(included, "zrpexcluded"), "(none)");
    EXPECT_EQ(refusal_code(exclusion(world, "<listVolumes/>")), kBadRequest);
}

TEST(Exclusion, AVolumeThatChangesListsIsDismountedOrMounted) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(act(world, "removeVolume", "DATA", "<dismountVolumes/>")), 0);
    const std::string lists = exclusion(world, "<listVolumes><all/></listVolumes>");
    EXPECT_NE(text_of(lists, "zrpexcluded").find(">DATA<"), std::string::npos);
    EXPECT_EQ(find_volume(world, "DATA")->status & kMounted, 0U);
    EXPECT_EQ(ask(world, "<mountAll/>").find(">DATA<"), std::string::npos);
    EXPECT_EQ(refusal_code(act(world, "createVolume", "DATA", "<mountVolumes/>")), 0);
    EXPECT_NE(find_volume(world, "DATA")->status & kMounted, 0U);
}

TEST(Exclusion, OnlyAChangeOfABksVolumeIsAccepted) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(act(world, "removeVolume", "SYS")), kNoSuchObject);
    EXPECT_EQ(refusal_code(act(world, "removeVolume", "X")), kNoSuchObject);
    EXPECT_EQ(refusal_code(act(world, "removeVolume", "SCRATCH")), kExists);
    EXPECT_EQ(refusal_code(act(world, "createVolume", "DATA")), kExists);
    EXPECT_EQ(refusal_code(exclusion(world, "")), kBadRequest);
}

TEST(Exclusion, ReportsTheMountPoint) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(act(world, "get_volume_mount_point", "DATA"), "get_volume_mount_point"),
              "/media/bks/DATA");
    EXPECT_EQ(refusal_code(act(world, "get_volume_mount_point", "SYS")), kNoSuchObject);
}

TEST(Filter, AChangedValueIsListedUntilItIsReset) {
    World world = make_world(1, {});
    const std::string entry = "<parm><name>events</name><value>";
    EXPECT_NE(filter(world, "<list/>").find(entry + "0x000000ff</value></parm>"),
              std::string::npos);
    filter(world, "<set>" + entry + "0xab</value></parm></set>");
    EXPECT_NE(filter(world, "<list/>").find(entry + "0x000000ab"), std::string::npos);
    filter(world, "<off/>");
    EXPECT_EQ(count_of(filter(world, "<list/>"), "<value>0x00000000</value>"),
              world.filters.size());
    filter(world, "<reset/>");
    EXPECT_NE(filter(world, "<list/>").find(entry + "0x000000ff"), std::string::npos);
}

TEST(Filter, RefusesUnknownNamesAndInvalidNumbers) {
    World world = make_world(1, {});
    for (const char* value : {"255", "0x", "0x1g", "0x100000000", ""})
        EXPECT_EQ(refusal_code(filter(world, "<set><parm><name>events</name><value>" +
                                                 std::string(value) + "</value></parm></set>")),
                  kBadRequest)
            << value;
    EXPECT_EQ(refusal_code(filter(world, "<set><parm><name>x</name><value>0x1</value></parm>"
                                         "</set>")),
              kNoSuchObject);
    EXPECT_EQ(refusal_code(filter(world, "")), kBadRequest);
}

TEST(LogLevel, IsChangedByItsName) {
    World world = make_world(1, {});
    const auto change = [&](const std::string& level) {
        return ask_storage(world, "<change_logging_level>\n<options>" + level +
                                      "</options>\n</change_logging_level>");
    };
    EXPECT_EQ(text_of(change("LEVELDEBUG"), "options"), "DEBUG");
    EXPECT_EQ(text_of(change("info"), "options"), "INFO");
    EXPECT_EQ(refusal_code(change("LOUD")), kBadRequest);
    EXPECT_EQ(world.storageLogLevel, "INFO");
}

} // namespace
} // namespace zrp::sim::storage_commands_test
