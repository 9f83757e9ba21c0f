#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::connection_commands_test {
namespace {

std::string list_page(World& world, int startIndex, int maxItems) {
    return ask(world, "<listConnections>\n<startIndex>" + std::to_string(startIndex) +
                          "</startIndex><maxItems>" + std::to_string(maxItems) +
                          "</maxItems>\n</listConnections>");
}

std::string information(World& world, int station) {
    return ask(world, "<connectionInformationTag>\n<connectionTag><versionTag>1</versionTag>"
                      "<stationNumberTag>" +
                          std::to_string(station) +
                          "</stationNumberTag></connectionTag>\n</connectionInformationTag>");
}

TEST(ListConnections, PagesCoverAVeryLongList) {
    World world = make_world(1, {.volumes = 30, .connections = 20000});
    size_t seen = 0;
    int station = 0;
    for (;;) {
        const std::string reply = list_page(world, station, 10);
        const size_t count = count_of(reply, "<connectionTag>");
        seen += count;
        if (count < 10)
            break;
        station = std::stoi(reply.substr(reply.rfind("<stationNumberTag>") + 18)) + 1;
    }
    EXPECT_EQ(seen, 20000U);
}

TEST(ListConnections, APageBeginsAtTheStationOrTheNextOne) {
    World world = make_world(1, {});
    std::erase_if(world.connections.change(),
                  [](const Connection& one) { return one.station == 12; });
    EXPECT_EQ(text_of(list_page(world, 11, 1), "stationNumberTag"), "11");
    EXPECT_EQ(text_of(list_page(world, 12, 1), "stationNumberTag"), "13");
}

TEST(ListConnections, ConnectionsWithoutALoginAreListedAsSuch) {
    World world = make_world(1, {});
    const std::string reply = list_page(world, 6, 1);
    EXPECT_EQ(text_of(reply, "name"), "NOT LOGGED IN");
    EXPECT_EQ(text_of(reply, "bytesRead"), "0");
    EXPECT_NE(text_of(reply, "loginTime"), "");
}

TEST(ListConnections, EveryEntryHasEveryElement) {
    World world = make_world(1, {});
    const std::string reply = ask(world, "<listConnections></listConnections>");
    for (const char* tag : {"stationNumberTag", "zrpRequests", "bytesRead", "bytesWritten", "name",
                            "loginTime", "licensedState", "encrypted", "mfa"})
        EXPECT_EQ(count_of(reply, std::string("<") + tag + ">"), 50U) << tag;
}

TEST(ConnectionInformation, BytesAgreeWithTheList) {
    World world = make_world(1, {});
    world.upTimeMs = 123456789;
    EXPECT_EQ(text_of(information(world, 5), "bytesRead"),
              text_of(list_page(world, 5, 1), "bytesRead"));
    EXPECT_EQ(text_of(information(world, 5), "name"), text_of(list_page(world, 5, 1), "name"));
}

TEST(ConnectionInformation, TheNameComesBeforeTheNamesOfFiles) {
    World world = make_world(1, {});
    world.connections.change()[4].files = {{1, "DATA:a", 1, 1, 1, false},
                                           {1, "DATA:b", 2, 1, 1, false}};
    const std::string reply = information(world, 5);
    EXPECT_LT(reply.find("<name>" + world.connections->at(4).name), reply.find("<name>DATA:a"));
    EXPECT_EQ(text_of(reply, "openFilesCount"), "2");
    EXPECT_EQ(text_of(reply, "openFiles"), "<openFilesCount>2</openFilesCount>"
                                           "<name>DATA:a</name><name>DATA:b</name>");
    EXPECT_EQ(text_of(reply, "secEqualsCount"),
              std::to_string(world.connections->at(4).equivalences.size()));
}

TEST(ConnectionInformation, OnlyALoggedInConnectionHasStatusBits) {
    World world = make_world(1, {});
    EXPECT_NE(std::stoul(text_of(information(world, 5), "status"), nullptr, 0) & kAnyDetailsStatus,
              0U);
    EXPECT_EQ(text_of(information(world, 6), "status"), "0x00000000");
}

TEST(ConnectionInformation, TheLoginIsNeverInTheFuture) {
    World world = make_world(1, {});
    world.upTimeMs = 5000;
    EXPECT_EQ(text_of(information(world, 5), "loginEpoch"), std::to_string(kPinnedBoot + 5));
    EXPECT_EQ(text_of(information(world, 5), "loginTime"), "2026-04-22 00:00:05");
}

TEST(ConnectionInformation, UnknownStationsAreRefused) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(information(world, 999)), kNoSuchObject);
    EXPECT_EQ(refusal_code(information(world, 0)), kNoSuchObject);
    EXPECT_EQ(refusal_code(information(world, -1)), kNoSuchObject);
    EXPECT_EQ(refusal_code(ask(world, "<connectionInformationTag/>")), kBadRequest);
}

} // namespace
} // namespace zrp::sim::connection_commands_test
