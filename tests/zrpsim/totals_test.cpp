// The totals of the server agree with its lists, whatever has changed since they were asked last.
#include <set>

#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/population.h"

namespace zrp::sim::totals_test {
namespace {

using namespace std::string_literals;

// Returns the texts of all elements of that name.
std::vector<std::string> texts_of(const std::string& reply, const std::string& tag) {
    std::vector<std::string> texts;
    const std::string opening = "<" + tag + ">";
    for (size_t at = reply.find(opening); at != std::string::npos; at = reply.find(opening, at)) {
        at += opening.size();
        texts.push_back(reply.substr(at, reply.find('<', at) - at));
    }
    return texts;
}

uint64_t sum_of(const std::string& reply, const std::string& tag) {
    uint64_t sum = 0;
    for (const std::string& text : texts_of(reply, tag))
        sum += std::stoull(text);
    return sum;
}

std::string locks_of(World& world, const std::string& file) {
    return ask(world,
               "<listFileLocksByFile><fileName>" + file + "</fileName></listFileLocksByFile>");
}

std::string open_files(World& world) {
    return ask(world, "<listOpenFilesByConnection><maxItems>1000</maxItems>"
                      "</listOpenFilesByConnection>");
}

// Returns the replies on the locks of all open files.
std::string all_locks(World& world) {
    const std::vector<std::string> names = texts_of(open_files(world), "name");
    std::string replies;
    for (const std::string& name : std::set<std::string>(names.begin(), names.end()))
        replies += locks_of(world, name);
    return replies;
}

// Returns the totals.
std::string expect_agreement(World& world) {
    const std::string totals =
        ask(world, "<serverStatistics><versionTag>1</versionTag></serverStatistics>");
    const std::string connections =
        ask(world, "<listConnections><maxItems>1000</maxItems></listConnections>");
    const std::string files = open_files(world);
    EXPECT_EQ(text_of(connections, "startIndex"), "(none)");
    EXPECT_EQ(text_of(files, "moreFlag"), "No");
    const auto closed = world.closedTraffic;
    EXPECT_EQ(sum_of(totals, "bytesRead"), closed.bytesRead + sum_of(connections, "bytesRead"));
    EXPECT_EQ(sum_of(totals, "bytesWritten"),
              closed.bytesWritten + sum_of(connections, "bytesWritten"));
    EXPECT_EQ(sum_of(totals, "zrpRequests"), closed.requests + sum_of(connections, "zrpRequests"));
    EXPECT_EQ(sum_of(totals, "connectionSlotsInUse"), count_of(connections, "<connectionTag>"));
    EXPECT_EQ(sum_of(totals, "notLoggedInCount"), count_of(connections, ">NOT LOGGED IN<"));
    EXPECT_EQ(sum_of(totals, "numberOfOpenFiles"), sum_of(files, "openFilesCount"));
    EXPECT_EQ(sum_of(totals, "fileLockCount"), sum_of(all_locks(world), "actualLockCount"));
    return totals;
}

TEST(Totals, AgreeWithTheListsAtEveryMoment) {
    World world = make_world(1, {.volumes = 30, .connections = 300});
    for (const int64_t upTime : {0, 1, 999, 7200000, 14400001, 123456789, 7200001, 2147483647}) {
        world.upTimeMs = upTime;
        expect_agreement(world);
    }
}

TEST(Totals, AgreeWithTheListsAfterEachChange) {
    World world = make_world(1, {.volumes = 30, .connections = 300});
    world.upTimeMs = 123456789;
    const std::string file = text_of(open_files(world), "name");
    const std::string owner = text_of(all_locks(world), "stationNumberTag");
    std::string before = expect_agreement(world);
    for (const std::string& change : {
             "<clearConnection><stationNumberTag>4, 7</stationNumberTag></clearConnection>"s,
             "<clearConnection><stationNumberTag>NLI</stationNumberTag></clearConnection>"s,
             "<zrpRequests><closeConnectionLocksTag><stationNumberTag>" + owner +
                 "</stationNumberTag></closeConnectionLocksTag></zrpRequests>",
             "<zrpRequests><fileClose><fileName>" + file + "</fileName></fileClose></zrpRequests>",
             "<dismountVolumes><volume><name>MAIL</name></volume></dismountVolumes>"s,
             "<removeVolume><volumeName>HOME</volumeName></removeVolume>"s,
             "<clearConnection><allStations>All</allStations></clearConnection>"s,
         }) {
        SCOPED_TRACE(change);
        ASSERT_EQ(refusal_code(ask(world, change)), 0);
        const std::string after = expect_agreement(world);
        EXPECT_NE(after, before);
        before = after;
    }
}

TEST(Totals, AgreeWithTheListsAfterLogins) {
    World world = make_world(1, {});
    world.upTimeMs = 50000000;
    expect_agreement(world);
    connect_clients(world, 3, "admin.users.hq.acme");
    expect_agreement(world);
    connect_clients(world, 2, "");
    expect_agreement(world);
    world.upTimeMs += 60000;
    expect_agreement(world);
}

} // namespace
} // namespace zrp::sim::totals_test
