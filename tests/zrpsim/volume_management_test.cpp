#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::volume_management_test {
namespace {

std::string create(World& world, const std::string& name, const std::string& mountPoint,
                   const std::string& number, const std::string& attributes = "0") {
    return ask(world, "<createVolume>\n<volumeName>" + name + "</volumeName><mountPoint>" +
                          mountPoint + "</mountPoint><attributes>" + attributes +
                          "</attributes><volumeNumber>" + number +
                          "</volumeNumber>\n</createVolume>");
}

std::string named(World& world, const std::string& command, const std::string& name,
                  const std::string& more = "") {
    return ask(world, "<" + command + ">\n<volumeName>" + name + "</volumeName>" + more + "\n</" +
                          command + ">");
}

std::string mount(World& world, const std::string& name, const std::string& number = "-1") {
    return ask(world, "<mountVolumes>\n<volume><name>" + name + "</name><volumeNumber>" + number +
                          "</volumeNumber></volume>\n</mountVolumes>");
}

std::string dismount(World& world, const std::string& name) {
    return ask(world,
               "<dismountVolumes>\n<volume><name>" + name + "</name></volume>\n</dismountVolumes>");
}

bool is_listed(World& world, const std::string& name) {
    return ask(world, "<listVolumes></listVolumes>").find("<name>" + name + "</name>") !=
           std::string::npos;
}

uint32_t status_of(World& world, const std::string& name) {
    return find_volume(world, name)->status;
}

TEST(CreateVolume, IsListedAndMountedAfterwards) {
    World world = make_world(1, {});
    const std::string reply = create(world, "NEW", "/mnt/new", "-1");
    EXPECT_EQ(reply, "<zrpConsoleReply><createVolume><volumeName>NEW</volumeName></createVolume>"
                     "</zrpConsoleReply>");
    EXPECT_TRUE(is_listed(world, "NEW"));
    EXPECT_NE(status_of(world, "NEW") & kMounted, 0U);
    EXPECT_EQ(find_volume(world, "NEW")->number, 30);
}

TEST(CreateVolume, TakesTheFirstFreeNumberOrTheOneAskedFor) {
    World world = make_world(1, {});
    named(world, "removeVolume", "MAIL");
    create(world, "A", "/mnt/a", "-1");
    create(world, "B", "/mnt/b", "200");
    EXPECT_EQ(find_volume(world, "A")->number, 5);
    EXPECT_EQ(find_volume(world, "B")->number, 200);
    EXPECT_EQ(world.volumes.back().name, "B");
}

TEST(CreateVolume, KeepsTheAttributesAsStatusBits) {
    World world = make_world(1, {});
    create(world, "A", "/mnt/a", "-1", "-2147483648");
    EXPECT_NE(status_of(world, "A") & kHidden, 0U);
}

TEST(CreateVolume, RefusesInvalidRequests) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(create(world, "SIXTEEN_LETTERS_", "/mnt/a", "-1")), kVolumeNameTooLong);
    EXPECT_EQ(refusal_code(create(world, "FIFTEEN_LETTERS", "/mnt/f", "-1")), 0);
    EXPECT_EQ(refusal_code(create(world, "", "/mnt/a", "-1")), kBadRequest);
    EXPECT_EQ(refusal_code(create(world, "A:B", "/mnt/a", "-1")), kBadRequest);
    EXPECT_EQ(refusal_code(create(world, "DATA", "/mnt/a", "-1")), kExists);
    EXPECT_EQ(refusal_code(create(world, "A", "mnt", "-1")), kBadRequest);
    EXPECT_EQ(refusal_code(create(world, "A", "/media/bks/DATA", "-1")), kExists);
    EXPECT_EQ(refusal_code(create(world, "A", "/mnt/a", "0")), kExists);
    EXPECT_EQ(refusal_code(create(world, "A", "/mnt/a", "256")), kBadRequest);
    EXPECT_EQ(refusal_code(create(world, "A", "/mnt/a", "-1", "much")), kBadRequest);
    EXPECT_EQ(world.volumes.size(), 31U);
}

TEST(CreateVolume, AFullServerHasNoRoom) {
    World world = make_world(1, {.volumes = 256, .connections = 0});
    EXPECT_EQ(refusal_code(create(world, "A", "/mnt/a", "-1")), kNoSpace);
}

TEST(RemoveVolume, IsNoLongerListedAndItsFilesAreClosed) {
    World world = make_world(1, {});
    const int number = find_volume(world, "HOME")->number;
    world.connections.change()[0].files.push_back({number, "HOME:a", 1, 1, 1, false});
    EXPECT_EQ(text_of(named(world, "removeVolume", "HOME"), "volumeName"), "HOME");
    EXPECT_FALSE(is_listed(world, "HOME"));
    for (const Connection& connection : *world.connections)
        for (const OpenFile& file : connection.files)
            EXPECT_NE(file.volumeNumber, number);
    EXPECT_EQ(refusal_code(named(world, "removeVolume", "HOME")), kNoSuchObject);
}

TEST(RemoveVolume, TheSystemVolumeCannotBeRemoved) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(named(world, "removeVolume", "SYS")), kForbidden);
    EXPECT_EQ(refusal_code(named(world, "removeVolume", "DATA", "<options>purge</options>")), 0);
}

TEST(ModifyVolume, GrantsAndRevokesAttributesAndNothingElse) {
    World world = make_world(1, {});
    const std::string grant = std::to_string(kCompression | kBks);
    EXPECT_NE(std::stoul(text_of(
                  named(world, "modifyVolume", "SYS", "<grant>" + grant + "</grant>"), "grant")) &
                  kCompression,
              0U);
    EXPECT_NE(status_of(world, "SYS") & kCompression, 0U);
    EXPECT_EQ(status_of(world, "SYS") & kBks, 0U);
    named(world, "modifyVolume", "SYS", "<revoke>4294967295</revoke>");
    EXPECT_EQ(status_of(world, "SYS"), kOnline | kMounted);
}

TEST(ModifyVolume, NeedsAMask) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(named(world, "modifyVolume", "SYS")), kBadRequest);
    EXPECT_EQ(refusal_code(named(world, "modifyVolume", "SYS", "<grant>4294967296</grant>")),
              kBadRequest);
}

TEST(MountVolumes, ADismountedVolumeIsMountedAgain) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(dismount(world, "DATA"), "dismountFailureCode"), "0");
    EXPECT_EQ(status_of(world, "DATA") & (kMounted | kOnline), 0U);
    const std::string reply = mount(world, "DATA");
    EXPECT_EQ(text_of(reply, "mountFailureCode"), "0");
    EXPECT_NE(std::stoul(text_of(reply, "status"), nullptr, 0) & kMounted, 0U);
}

TEST(MountVolumes, DismountingClosesFiles) {
    World world = make_world(1, {});
    world.connections.change()[0].files = {{1, "DATA:a", 1, 1, 1, false},
                                           {0, "SYS:a", 1, 1, 1, false}};
    dismount(world, "DATA");
    ASSERT_EQ(world.connections->at(0).files.size(), 1U);
    EXPECT_EQ(world.connections->at(0).files[0].name, "SYS:a");
}

TEST(MountVolumes, FailuresAreReportedForEachVolume) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(mount(world, "DATA"), "mountFailureCode"), std::to_string(kExists));
    EXPECT_EQ(text_of(mount(world, "NOWHERE"), "mountFailureCode"), std::to_string(kNoSuchObject));
    EXPECT_EQ(text_of(mount(world, "SCRATCH"), "mountFailureCode"), std::to_string(kForbidden));
    EXPECT_EQ(text_of(dismount(world, "BACKUP"), "dismountFailureCode"),
              std::to_string(kNotMounted));
    EXPECT_EQ(refusal_code(ask(world, "<mountVolumes/>")), kBadRequest);
    EXPECT_EQ(refusal_code(ask(world, "<dismountVolumes/>")), kBadRequest);
}

TEST(MountVolumes, AVolumeIsMountedUnderAnotherNumber) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(mount(world, "BACKUP", "3"), "mountFailureCode"), std::to_string(kExists));
    EXPECT_EQ(text_of(mount(world, "BACKUP", "300"), "mountFailureCode"),
              std::to_string(kBadRequest));
    EXPECT_EQ(find_volume(world, "BACKUP")->number, 12);
    EXPECT_EQ(text_of(mount(world, "BACKUP", "99"), "mountFailureCode"), "0");
    EXPECT_EQ(find_volume(world, "BACKUP")->number, 99);
    EXPECT_EQ(world.volumes.back().name, "BACKUP");
}

TEST(MountAll, ListsTheVolumesThatItChanged) {
    World world = make_world(1, {});
    const size_t mounted = count_mounted(world);
    EXPECT_EQ(count_of(ask(world, "<dismountAll/>"), "<volume><name>"), mounted);
    EXPECT_EQ(count_mounted(world), 0U);
    EXPECT_EQ(world.connections.counts().openFiles, 0U);
    EXPECT_EQ(count_of(ask(world, "<mountAll/>"), "<volume><name>"), mounted + 1);
    EXPECT_EQ(ask(world, "<mountAll/>"),
              "<zrpConsoleReply><mountAll></mountAll></zrpConsoleReply>");
}

TEST(PurgeVolume, LeavesNothingToPurge) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(named(world, "purgeVolume", "DATA"), "volumeName"), "DATA");
    const std::string reply = ask(world, "<volumeInformation><volume><name>DATA</name>"
                                         "<versionTag>5</versionTag></volume></volumeInformation>");
    EXPECT_EQ(text_of(reply, "purgeableBlocks"), "0");
    EXPECT_EQ(refusal_code(named(world, "purgeVolume", "BACKUP")), kNotMounted);
}

TEST(FlushVolumes, ReportsHowMany) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(ask(world, "<flushVolumes/>"), "volumeCount"),
              std::to_string(count_mounted(world)));
}

TEST(TreeControl, FlagsAreKept) {
    World world = make_world(1, {});
    const std::string version = "<versionTag>1</versionTag>";
    named(world, "VTCRequest", "DATA", version + "<controlFlags>6</controlFlags>");
    EXPECT_EQ(text_of(named(world, "VTCRequest", "DATA", version), "controlFlags"), "6");
    named(world, "VTCRequest", "DATA", version + "<controlFlags>4294967295</controlFlags>");
    EXPECT_EQ(text_of(named(world, "VTCRequest", "DATA", version), "controlFlags"), "4294967295");
    EXPECT_EQ(refusal_code(named(world, "VTCRequest", "DATA")), kBadRequest);
}

std::string shadow(World& world, const std::string& action, const std::string& children) {
    return ask(world, "<shadow>\n<" + action + "><volumeName>DATA</volumeName>" + children + "</" +
                          action + ">\n</shadow>");
}

TEST(Shadow, IsSeenInTheVolumesInformationUntilItIsRemoved) {
    World world = make_world(1, {});
    const std::string question = "<volumeInformation><volume><name>DATA</name><versionTag>5"
                                 "</versionTag></volume></volumeInformation>";
    EXPECT_EQ(shadow(world, "createVolume",
                     "<path>/mnt/s</path><mountPoint>/media/bks/DATA</mountPoint>"
                     "<attributes>0</attributes>"),
              "<zrpConsoleReply><shadow><createVolume><volumeName>DATA</volumeName></createVolume>"
              "</shadow></zrpConsoleReply>");
    EXPECT_EQ(text_of(ask(world, question), "shadow"), "/mnt/s");
    const std::string reply = shadow(world, "removeVolume", "<mountPoint>/mnt/s</mountPoint>");
    EXPECT_EQ(text_of(reply, "shadowVolName"), "DATA_S");
    EXPECT_EQ(text_of(ask(world, question), "shadow"), "(none)");
    EXPECT_EQ(refusal_code(shadow(world, "removeVolume", "")), kNoSuchObject);
}

TEST(Shadow, ItsConfigurationOutlivesItsMountPoint) {
    World world = make_world(1, {});
    shadow(world, "createVolume", "<path>/mnt/s</path>");
    shadow(world, "removeVolume", "");
    const std::string conf = "<shadowVolName>DATA_S</shadowVolName>";
    EXPECT_EQ(text_of(shadow(world, "removeConf", conf), "volumeName"), "DATA");
    EXPECT_EQ(refusal_code(shadow(world, "removeConf", conf)), kNoSuchObject);
}

TEST(Shadow, RefusesInvalidRequests) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(shadow(world, "createVolume", "<path>s</path>")), kBadRequest);
    EXPECT_EQ(refusal_code(shadow(world, "createVolume", "<path>/media/bks/HOME</path>")), kExists);
    EXPECT_EQ(
        refusal_code(shadow(world, "createVolume", "<path>/s</path><mountPoint>/x</mountPoint>")),
        kNoSuchObject);
    shadow(world, "createVolume", "<path>/s</path>");
    EXPECT_EQ(refusal_code(shadow(world, "createVolume", "<path>/t</path>")), kExists);
    EXPECT_EQ(refusal_code(ask(world, "<shadow/>")), kBadRequest);
    EXPECT_EQ(refusal_code(shadow(world, "path", "")), kBadRequest);
}

} // namespace
} // namespace zrp::sim::volume_management_test
