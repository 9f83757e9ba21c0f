#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::parameter_commands_test {
namespace {

std::string set(World& world, const std::string& children) {
    return ask(world, "<set>\n<versionTag>1</versionTag><attributes>1</attributes>" + children +
                          "\n</set>");
}

std::string write(World& world, const std::string& name, const std::string& value) {
    return set(world, "<name>" + name + "</name><string>" + value + "</string>");
}

TEST(Parameters, BrowseListsEveryNameWithItsValue) {
    World world = make_world(1, {});
    const std::string reply = set(world, "<browse>1</browse>");
    EXPECT_EQ(count_of(reply, "<name value=\""), world.parameters.size());
    EXPECT_NE(reply.find("<name value=\"WARNING\">LOG_LEVEL</name>"), std::string::npos);
}

TEST(Parameters, MoreAreVisibleThanAScreenShows) {
    World world = make_world(1, {});
    EXPECT_GT(world.parameters.size(), 18U + 7U);
}

TEST(Parameters, AValueIsReadByName) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(set(world, "<name>SIGNATURE_LEVEL</name>"), "string"), "1");
    EXPECT_EQ(text_of(set(world, "<name>Signature_Level</name>"), "string"), "1");
}

TEST(Parameters, AWrittenValueIsReadAndListed) {
    World world = make_world(1, {});
    EXPECT_EQ(text_of(write(world, "SIGNATURE_LEVEL", "3"), "string"), "3");
    EXPECT_EQ(text_of(set(world, "<name>SIGNATURE_LEVEL</name>"), "string"), "3");
    EXPECT_NE(set(world, "<browse>1</browse>").find("<name value=\"3\">SIGNATURE_LEVEL"),
              std::string::npos);
}

TEST(Parameters, AnInvalidValueIsRefusedAndChangesNothing) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(write(world, "COMMIT_FILE", "2")), kBadRequest);
    EXPECT_EQ(refusal_code(write(world, "SIGNATURE_LEVEL", "high")), kBadRequest);
    EXPECT_EQ(refusal_code(write(world, "SERVER_CONTACT", "a&#10;b")), kBadRequest);
    EXPECT_EQ(refusal_code(write(world, "ZRP_FILE_SERVER_NAME", "X")), kForbidden);
    EXPECT_EQ(text_of(set(world, "<name>COMMIT_FILE</name>"), "string"), "1");
}

TEST(Parameters, ARequestWithoutNameOrBrowseIsRefused) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(set(world, "")), kBadRequest);
    EXPECT_EQ(refusal_code(set(world, "<browse>1</browse><string>x</string>")), kBadRequest);
    EXPECT_EQ(refusal_code(set(world, "<name>NO_SUCH_PARAMETER</name>")), kNoSuchObject);
    EXPECT_EQ(refusal_code(ask(world, "<set><browse>1</browse></set>")), kBadRequest);
}

} // namespace
} // namespace zrp::sim::parameter_commands_test
