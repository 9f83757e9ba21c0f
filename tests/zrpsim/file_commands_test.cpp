#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::file_commands_test {
namespace {

World world_with_files() {
    World world = make_world(1, {});
    for (Connection& connection : world.connections.change())
        connection.files.clear();
    world.connections.change()[0].files = {{1, "DATA:a", 0x10, 0x1, 3, true},
                                           {0, "SYS:b", 2, 1, 1, true}};
    world.connections.change()[3].files = {{1, "DATA:a", 0x11, 0x1B, 4, true}};
    world.connections.change()[8].files = {{1, "DATA:a", 0x12, 0x1, 5, false}};
    return world;
}

std::string list(World& world, const std::string& children) {
    return ask(world,
               "<listOpenFilesByConnection>\n" + children + "\n</listOpenFilesByConnection>");
}

std::string locks(World& world, const std::string& name) {
    return ask(world,
               "<listFileLocksByFile>\n<fileName>" + name + "</fileName>\n</listFileLocksByFile>");
}

std::string close(World& world, const std::string& children) {
    return ask(world, "<zrpRequests>\n" + children + "\n</zrpRequests>");
}

TEST(OpenFiles, AreListedByConnection) {
    World world = world_with_files();
    const std::string reply = list(world, "");
    EXPECT_EQ(count_of(reply, "<connectionTag>"), 3U);
    EXPECT_EQ(text_of(reply, "openFiles"),
              "<openFilesCount>2</openFilesCount><name>DATA:a</name><name>SYS:b</name>");
    EXPECT_EQ(text_of(reply, "moreFlag"), "No");
    EXPECT_EQ(text_of(reply, "startIndex"), "(none)");
    EXPECT_EQ(text_of(reply, "userName"), world.connections->at(0).name);
}

TEST(OpenFiles, AreListedForOneVolume) {
    World world = world_with_files();
    EXPECT_EQ(count_of(list(world, "<volumeName>SYS</volumeName>"), "<connectionTag>"), 1U);
    EXPECT_EQ(refusal_code(list(world, "<volumeName>X</volumeName>")), kNoSuchObject);
}

TEST(OpenFiles, PagesCoverTheList) {
    World world = world_with_files();
    std::string reply = list(world, "<maxItems>2</maxItems>");
    EXPECT_EQ(text_of(reply, "moreFlag"), "Yes");
    EXPECT_EQ(text_of(reply, "stationNumberCount"), "2");
    EXPECT_EQ(text_of(reply, "startIndex"), "9");
    reply = list(world, "<startIndex>9</startIndex><maxItems>2</maxItems>");
    EXPECT_EQ(text_of(reply, "moreFlag"), "No");
    EXPECT_EQ(count_of(reply, "<connectionTag>"), 1U);
}

TEST(OpenFiles, AFileIsClosedOnAllConnections) {
    World world = world_with_files();
    const std::string request = "<fileClose><fileName>DATA:a</fileName></fileClose>";
    EXPECT_EQ(text_of(close(world, request), "fileName"), "DATA:a");
    EXPECT_EQ(world.connections.counts().openFiles, 1U);
    EXPECT_EQ(refusal_code(close(world, request)), kNoSuchObject);
}

TEST(Locks, AreListedByFile) {
    World world = world_with_files();
    const std::string reply = locks(world, "DATA:a");
    EXPECT_EQ(text_of(reply, "actualLockCount"), "2");
    EXPECT_EQ(text_of(reply, "connectionTag"),
              "<stationNumberTag>1</stationNumberTag><taskNuber>3</taskNuber>"
              "<accessRights>0x00000001</accessRights><zrpFileHandle>0x00000010</zrpFileHandle>"
              "<userName>" +
                  world.connections->at(0).name + "</userName>");
    EXPECT_EQ(text_of(locks(world, "DATA:nobody"), "actualLockCount"), "0");
    EXPECT_EQ(refusal_code(locks(world, "X:a")), kNoSuchObject);
}

TEST(Locks, ClosingThoseOfAConnectionLeavesItsFilesOpen) {
    World world = world_with_files();
    const std::string request = "<closeConnectionLocksTag><stationNumberTag>1</stationNumberTag>"
                                "</closeConnectionLocksTag>";
    EXPECT_EQ(text_of(close(world, request), "stationNumberTag"), "1");
    EXPECT_EQ(text_of(locks(world, "DATA:a"), "actualLockCount"), "1");
    EXPECT_EQ(world.connections->at(0).files.size(), 2U);
}

TEST(Locks, AnUnknownStationOrNoRequestIsRefused) {
    World world = world_with_files();
    EXPECT_EQ(refusal_code(close(world, "<closeConnectionLocksTag><stationNumberTag>99"
                                        "</stationNumberTag></closeConnectionLocksTag>")),
              kNoSuchObject);
    EXPECT_EQ(refusal_code(close(world, "")), kBadRequest);
    EXPECT_EQ(refusal_code(close(world, "<fileClose/><closeConnectionLocksTag/>")), kBadRequest);
}

} // namespace
} // namespace zrp::sim::file_commands_test
