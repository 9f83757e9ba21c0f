#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::server_management_test {
namespace {

std::string config(World& world, const std::string& children) {
    return ask(world,
               "<serverConfig>\n<versionTag>1</versionTag>" + children + "\n</serverConfig>");
}

std::string bind(World& world, const std::string& address, int flag) {
    return ask(world, "<clusterResource><zrpServerName>V1</zrpServerName><networkAddress>" +
                          address + "</networkAddress><bindFlag>" + std::to_string(flag) +
                          "</bindFlag></clusterResource>");
}

std::string resource(World& world, const std::string& children) {
    return ask(world, "<clusterResource><volume>" + children + "</volume></clusterResource>");
}

TEST(ServerConfig, ReportsEverySetting) {
    World world = make_world(1, {});
    const std::string reply = config(world, "");
    for (const char* tag :
         {"zrpServerName", "zrpServerProductVersion", "zrpServerFileServerVersion",
          "zrpServerVersion", "zrpAllowUncryptedPasswords", "zrpMixedModePath", "zrpOSLanguageID"})
        EXPECT_NE(text_of(reply, tag), "(none)") << tag;
}

TEST(ServerConfig, ReportsAChangedSetting) {
    World world = make_world(1, {});
    config(world, "<name>zrpMixedModePath</name><set>1</set>");
    EXPECT_EQ(text_of(config(world, ""), "zrpMixedModePath"), "1");
}

TEST(ServerConfig, RefusesInvalidChanges) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(config(world, "<name>zrpServerVersion</name><set>1</set>")), kForbidden);
    EXPECT_EQ(refusal_code(config(world, "<name>colour</name><set>1</set>")), kNoSuchObject);
    EXPECT_EQ(refusal_code(config(world, "<name>zrpFileCommit</name><set>yes</set>")), kBadRequest);
    EXPECT_EQ(refusal_code(config(world, "<name>zrpFileCommit</name>")), kBadRequest);
    EXPECT_EQ(refusal_code(ask(world, "<serverConfig/>")), kBadRequest);
}

TEST(Threads, HaveTwelveFieldsAndTwoOfThemAreFractions) {
    World world = make_world(1, {});
    const std::string reply = ask(world, "<threads/>");
    for (const char* tag :
         {"currAsynceDirThreads", "maxAsynceDirThreads", "peakAsynceDirThreads",
          "currQueuedeDirRequests", "peakQueuedeDirRequests", "activeSSGThreads", "addlSSGThreads",
          "totalZRPStreams", "peakSSGThreads", "peakZRPStreams"})
        EXPECT_EQ(text_of(reply, tag).find_first_not_of("0123456789"), std::string::npos) << tag;
    EXPECT_EQ(text_of(reply, "peakAverageSSGThreadLoad"), "4.12");
    EXPECT_NE(text_of(reply, "averageSSGThreadLoad").find('.'), std::string::npos);
}

TEST(Threads, NeverExceedTheirPeaks) {
    World world = make_world(1, {});
    for (int i = 0; i < 200; i++) {
        world.upTimeMs += 777;
        const std::string reply = ask(world, "<threads/>");
        EXPECT_LE(std::stoi(text_of(reply, "activeSSGThreads")),
                  std::stoi(text_of(reply, "peakSSGThreads")));
        EXPECT_LE(std::stod(text_of(reply, "averageSSGThreadLoad")),
                  std::stod(text_of(reply, "peakAverageSSGThreadLoad")));
    }
}

TEST(Cluster, ABoundAddressIsAVirtualServer) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(bind(world, "10.0.0.1", 1), "networkAddress"), "10.0.0.1");
    const std::string reply = ask(world, "<listvirtualservers/>");
    EXPECT_EQ(text_of(reply, "totalVirtualServers"), "1");
    EXPECT_EQ(text_of(reply, "virtualservers"),
              "<server><name>V1</name><IP>10.0.0.1</IP></server>");
    EXPECT_EQ(refusal_code(bind(world, "10.0.0.1", 1)), kExists);
    EXPECT_EQ(refusal_code(bind(world, "10.0.0.1", 0)), 0);
    EXPECT_EQ(refusal_code(bind(world, "10.0.0.1", 0)), kNoSuchObject);
    EXPECT_EQ(text_of(ask(world, "<listvirtualservers/>"), "totalVirtualServers"), "0");
    EXPECT_EQ(refusal_code(bind(world, "", 1)), kBadRequest);
}

TEST(Cluster, AVolumeOfAResourceIsMountedWithItsSettings) {
    World world = make_world(1, {});
    const std::string reply =
        resource(world, "<volumeName>BACKUP</volumeName><volumeNumber>254</volumeNumber>"
                        "<shadow>/mnt/s</shadow><mountPoint>/mnt/b</mountPoint>"
                        "<options>SHADOWVOLUME=OLD</options>");
    EXPECT_EQ(text_of(reply, "mountFailureCode"), "0");
    EXPECT_EQ(text_of(reply, "volumeNumber"), "254");
    const Volume* volume = find_volume(world, "BACKUP");
    EXPECT_EQ(volume->mountPoint, "/mnt/b");
    EXPECT_EQ(volume->shadow, "/mnt/s");
    EXPECT_EQ(volume->shadowName, "OLD");
    EXPECT_NE(volume->status & kClusterResource, 0U);
    EXPECT_NE(volume->status & kMounted, 0U);
}

TEST(Cluster, AVolumeThatCannotBeMountedIsUnchanged) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(resource(world, "<volumeName>SCRATCH</volumeName>"
                                      "<volumeNumber>254</volumeNumber>"),
                      "mountFailureCode"),
              std::to_string(kForbidden));
    EXPECT_EQ(find_volume(world, "SCRATCH")->number, 7);
    EXPECT_EQ(text_of(resource(world, "<volumeName>X</volumeName>"), "volumeNumber"), "-1");
    EXPECT_EQ(text_of(resource(world, "<volumeName>BACKUP</volumeName><mountPoint>b</mountPoint>"),
                      "mountFailureCode"),
              std::to_string(kBadRequest));
}

} // namespace
} // namespace zrp::sim::server_management_test
