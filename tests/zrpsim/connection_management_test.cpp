#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::connection_management_test {
namespace {

std::string clear(World& world, const std::string& children) {
    return ask(world, "<clearConnection>\n" + children + "\n</clearConnection>");
}

std::string stations(std::initializer_list<int> numbers) {
    std::string text;
    for (const int number : numbers)
        text += "<stationNumberTag>" + std::to_string(number) + "</stationNumberTag>";
    return text;
}

TEST(ClearConnection, RemovesTheStationsFromTheList) {
    World world = make_world(1, {});
    const std::string reply =
        clear(world, "<stationNumberCount>2</stationNumberCount>" + stations({5, 7}));
    EXPECT_EQ(text_of(reply, "stationNumberCount"), "2");
    EXPECT_EQ(find_connection(world, 5), nullptr);
    EXPECT_EQ(find_connection(world, 7), nullptr);
    EXPECT_EQ(world.connections->size(), 48U);
}

TEST(ClearConnection, TotalsKeepTheTrafficOfClosedConnections) {
    World world = make_world(1, {});
    world.upTimeMs = 100000000;
    const Traffic before = total_traffic(world);
    clear(world, "<allStations>All</allStations>");
    EXPECT_TRUE(world.connections->empty());
    EXPECT_EQ(total_traffic(world).bytesRead, before.bytesRead);
    EXPECT_EQ(total_traffic(world).requests, before.requests);
}

TEST(ClearConnection, AllLeavesTheExceptions) {
    World world = make_world(1, {});
    clear(world, "<allStations>All</allStations><exceptionNumberTag>3</exceptionNumberTag>"
                 "<exceptionNumberTag>9, 11</exceptionNumberTag>");
    ASSERT_EQ(world.connections->size(), 3U);
    EXPECT_EQ(world.connections->at(2).station, 11);
}

TEST(ClearConnection, AllWithoutALoginAreClearedTogether) {
    World world = make_world(1, {});
    const size_t without = world.connections.counts().withoutLogin;
    EXPECT_EQ(
        text_of(clear(world, "<stationNumberTag>NLI</stationNumberTag>"), "stationNumberCount"),
        std::to_string(without));
    EXPECT_EQ(world.connections.counts().withoutLogin, 0U);
    EXPECT_EQ(world.connections->size(), 50U - without);
}

TEST(ClearConnection, ARefusedRequestEndsNoConnection) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(clear(world, stations({5, 999}))), kNoSuchObject);
    EXPECT_EQ(refusal_code(clear(world, "")), kBadRequest);
    EXPECT_EQ(refusal_code(clear(world, "<stationNumberTag>x</stationNumberTag>")), kBadRequest);
    EXPECT_EQ(
        refusal_code(clear(world, "<stationNumberCount>3</stationNumberCount>" + stations({5, 7}))),
        kBadRequest);
    EXPECT_EQ(refusal_code(clear(world, "<allStations>All</allStations>"
                                        "<exceptionNumberTag>me</exceptionNumberTag>")),
              kBadRequest);
    EXPECT_EQ(world.connections->size(), 50U);
}

TEST(Broadcast, ReachesTheStationsOfItsListOrAll) {
    World world = make_world(1, {});
    std::string reply = ask(world, "<broadcastMessage><stationList>" + stations({1, 2}) +
                                       "</stationList><message>Hi</message></broadcastMessage>");
    EXPECT_EQ(text_of(reply, "stationNumberCount"), "2");
    reply = ask(world, "<broadcastMessage><message>Down at 5</message></broadcastMessage>");
    EXPECT_EQ(text_of(reply, "stationNumberCount"), "50");
    EXPECT_EQ(world.broadcasts, (std::vector<std::string>{"Hi", "Down at 5"}));
}

TEST(Broadcast, NeedsAMessageAndKnownStations) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(ask(world, "<broadcastMessage/>")), kBadRequest);
    EXPECT_EQ(refusal_code(ask(world, "<broadcastMessage><stationList>" + stations({0}) +
                                          "</stationList><message>Hi</message>"
                                          "</broadcastMessage>")),
              kNoSuchObject);
    EXPECT_TRUE(world.broadcasts.empty());
}

TEST(Login, IsDisabledAndEnabled) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(ask(world, "<disableLogin>\n<disable/>\n</disableLogin>"), "string"),
              "Login is disabled");
    EXPECT_EQ(text_of(ask(world, "<serverConnInfo/>"), "loginState"), "0");
    ask(world, "<enableLogin>\n<enable/>\n</enableLogin>");
    EXPECT_EQ(text_of(ask(world, "<serverConnInfo/>"), "loginState"), "1");
    EXPECT_EQ(refusal_code(ask(world, "<enableLogin><disable/></enableLogin>")), kBadRequest);
}

TEST(Login, TheCombinedFormMakesAVolumeReadOnly) {
    World world = make_world(1, {});
    const std::string reply =
        ask(world, "<disableLogin><disable/><volume><volumeName>SYS</volumeName>"
                   "<readOnly>YES</readOnly></volume><message>Repair</message></disableLogin>");
    EXPECT_EQ(count_of(reply, "<string>"), 2U);
    EXPECT_NE(find_volume(world, "SYS")->status & kReadOnly, 0U);
    EXPECT_EQ(world.loginMessage, "Repair");
    ask(world, "<enableLogin><enable/><volume><volumeName>SYS</volumeName>"
               "<readOnly>NO</readOnly></volume></enableLogin>");
    EXPECT_EQ(find_volume(world, "SYS")->status & kReadOnly, 0U);
}

TEST(Login, AnUnknownVolumeChangesNothing) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(ask(world, "<disableLogin><disable/><volume><volumeName>X</volumeName>"
                                      "</volume></disableLogin>")),
              kNoSuchObject);
    EXPECT_TRUE(world.loginEnabled);
}

TEST(ConnectionSlots, AgreeWithTheList) {
    World world = make_world(1, {});
    const std::string reply = ask(world, "<serverConnInfo/>");
    EXPECT_EQ(text_of(reply, "connectionSlotsInUse"), "50");
    EXPECT_EQ(text_of(reply, "connectionSlotsAvailable"), "32717");
    EXPECT_EQ(text_of(reply, "notLoggedInCount"),
              std::to_string(world.connections.counts().withoutLogin));
    EXPECT_EQ(text_of(reply, "versionTag"), "1");
    for (const char* tag : {"licensedConnectionCount", "peakLicenseCount", "signingLevel"})
        EXPECT_NE(text_of(reply, tag), "(none)") << tag;
}

} // namespace
} // namespace zrp::sim::connection_management_test
