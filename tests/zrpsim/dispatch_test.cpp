#include "tools/zrpsim/world/dispatch.h"

#include <ostream>

#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::dispatch_test {
namespace {

constexpr const char* kStatistics =
    "<serverStatistics><versionTag>1</versionTag></serverStatistics>";

std::string ask_main(World& world, std::string_view request) {
    return answer_request(world, Peer::kMainDaemon, kMainDaemonRequest, request).text;
}

TEST(Dispatch, TheProcessIdMakesNoDifference) {
    World world = make_world(1, {});
    const std::string bare =
        "<zrpConsoleRequest>" + std::string(kStatistics) + "</zrpConsoleRequest>";
    EXPECT_EQ(refusal_code(ask_main(world, bare)), 0);
    EXPECT_EQ(ask_main(world, bare), ask(world, kStatistics));
}

TEST(Dispatch, TheCommandIsReported) {
    World world = make_world(1, {});
    const std::string request =
        "<zrpConsoleRequest>" + std::string(kStatistics) + "</zrpConsoleRequest>";
    EXPECT_EQ(answer_request(world, Peer::kMainDaemon, kMainDaemonRequest, request).command,
              "serverStatistics");
}

TEST(Dispatch, AnUnknownCommandIsRefusedWithADescription) {
    World world = make_world(1, {});
    EXPECT_EQ(ask(world, "<makeCoffee/>"),
              "<zrpConsoleReply><result value=\"38\"><description>unknown command makeCoffee"
              "</description></result></zrpConsoleReply>");
}

struct Malformed {
    const char* name;
    std::string_view text;
};

void PrintTo(const Malformed& row, std::ostream* out) {
    *out << row.name;
}

class MalformedDocument : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedDocument, IsRefused) {
    World world = make_world(1, {});
    const std::string reply = ask_main(world, GetParam().text);
    EXPECT_NE(refusal_code(reply), 0) << reply;
    EXPECT_NE(text_of(reply, "description"), "(none)");
}

INSTANTIATE_TEST_SUITE_P(
    Dispatch, MalformedDocument,
    testing::Values(
        Malformed{"Empty", ""}, Malformed{"NoMarkup", "serverStatistics"},
        Malformed{"UnclosedEnvelope", "<zrpConsoleRequest><serverStatistics/>"},
        Malformed{"MismatchedTags", "<zrpConsoleRequest><a></b></zrpConsoleRequest>"},
        Malformed{"TwoRoots", "<zrpConsoleRequest><a/></zrpConsoleRequest><b/>"},
        Malformed{"EmptyEnvelope", "<zrpConsoleRequest></zrpConsoleRequest>"},
        Malformed{"TwoCommands", "<zrpConsoleRequest><a/><b/></zrpConsoleRequest>"},
        Malformed{"OtherEnvelope", "<zrp2bks_request><versionTag/></zrp2bks_request>"},
        Malformed{"TextForCommand", "<zrpConsoleRequest>serverStatistics</zrpConsoleRequest>"},
        Malformed{"NulAtTheEnd", {"<zrpConsoleRequest><a/></zrpConsoleRequest>\0", 44}},
        Malformed{"UnknownChild", "<zrpConsoleRequest><serverStatistics><versionTag>1</versionTag>"
                                  "<x/></serverStatistics></zrpConsoleRequest>"},
        Malformed{"NoVersion", "<zrpConsoleRequest><serverStatistics/></zrpConsoleRequest>"},
        Malformed{"VersionIsNoNumber", "<zrpConsoleRequest><serverStatistics><versionTag>1x"
                                       "</versionTag></serverStatistics></zrpConsoleRequest>"}),
    [](const auto& one) { return one.param.name; });

TEST(Dispatch, ARequestNumberOfAnotherSocketIsRefused) {
    World world = make_world(1, {});
    const std::string request =
        "<zrpConsoleRequest>" + std::string(kStatistics) + "</zrpConsoleRequest>";
    const Answer answer = answer_request(world, Peer::kStorageDaemon, kMainDaemonRequest, request);
    EXPECT_EQ(refusal_code(answer.text), kBadRequest);
}

TEST(Dispatch, ARefusalHasTheEnvelopeOfItsRequestNumber) {
    EXPECT_EQ(refusal_text(kManagementRequest, 9, "a < b"),
              "<libomw2zrpReplyTag><result value=\"9\"><description>a &lt; b</description>"
              "</result></libomw2zrpReplyTag>");
    EXPECT_TRUE(refusal_text(kStorageDaemonRequest, 9, "").starts_with("<zrp2bks_reply>"));
    EXPECT_TRUE(
        refusal_text(kStorageDiagnosticRequest, 9, "").starts_with("<zrp2bksDiagnosticReply>"));
}

TEST(Statistics, TheUpTimeIsAmongAtLeastFifteenOthers) {
    World world = make_world(1, {});
    world.upTimeMs = int64_t{90061} * 1000;
    const std::string reply = ask(world, kStatistics);
    EXPECT_EQ(count_of(reply, "<value type=\"diffSeconds\">90061</value>"), 1U);
    EXPECT_GE(count_of(reply, "<parm>"), 16U);
}

TEST(Statistics, FiguresMoveOnlyWithTheUpTime) {
    World world = make_world(1, {});
    world.upTimeMs = 50000000;
    const std::string before = ask(world, kStatistics);
    EXPECT_EQ(ask(world, kStatistics), before);
    world.upTimeMs += 2000;
    EXPECT_NE(text_of(ask(world, kStatistics), "packetsAccepted"),
              text_of(before, "packetsAccepted"));
}

TEST(Statistics, CountsAgreeWithTheWorld) {
    World world = make_world(3, {.volumes = 40, .connections = 77});
    const std::string reply = ask(world, kStatistics);
    EXPECT_EQ(text_of(reply, "connectionSlotsInUse"), "77");
    EXPECT_EQ(text_of(reply, "volumeCount"), "40");
    EXPECT_EQ(text_of(reply, "numberOfMountedVolumes"), std::to_string(count_mounted(world)));
    EXPECT_EQ(text_of(reply, "bytesRead"), std::to_string(total_traffic(world).bytesRead));
}

} // namespace
} // namespace zrp::sim::dispatch_test
