#include <cstring>

#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/handler.h"

namespace zrp::sim::diagnostics_commands_test {
namespace {

std::string wrapped(const std::string& text) {
    const uint32_t words[] = {24, 1, static_cast<uint32_t>(text.size() + 1)};
    std::string message(sizeof words, '\0');
    std::memcpy(message.data(), words, sizeof words);
    return message + text + std::string(20, '\0');
}

std::string document(const std::string& children) {
    return "<zrp2bksDiagnosticRequest pid=\"3\"><zrp2bksDiagnosticRequest>\n" + children +
           "\n</zrp2bksDiagnosticRequest></zrp2bksDiagnosticRequest>";
}

std::string ask_wrapped(World& world, const std::string& message) {
    return answer_request(world, Peer::kStorageDaemon, kStorageDiagnosticRequest, message).text;
}

std::string counter(const std::string& reply, const std::string& name) {
    const size_t at = reply.find("\">" + name + "<");
    if (at == std::string::npos)
        return "(none)";
    const size_t from = reply.rfind('"', at - 1) + 1;
    return reply.substr(from, at - from);
}

TEST(Diagnostics, NamesAllCountersOfTheMainDaemon) {
    World world = make_world(1, {});
    const std::string reply = ask(world, "<diagnostics>\n<diagLevel>1</diagLevel>\n</diagnostics>");
    EXPECT_TRUE(
        reply.starts_with("<zrpConsoleReply><diagnostics><diagLevel>1</diagLevel><diagValue "));
    EXPECT_EQ(count_of(reply, "<diagValue value="), 53U);
    EXPECT_NE(counter(reply, "ReplyDisgard"), "(none)");
}

TEST(Diagnostics, OpenFilesAgreeWithTheConnections) {
    World world = make_world(1, {});
    const std::string reply = ask(world, "<diagnostics><diagLevel>1</diagLevel></diagnostics>");
    EXPECT_EQ(counter(reply, "openFiles"), std::to_string(world.connections.counts().openFiles));
    EXPECT_EQ(counter(reply, "Not logged in count"),
              std::to_string(world.connections.counts().withoutLogin));
}

TEST(Diagnostics, ResetAllRestartsAtZero) {
    World world = make_world(1, {});
    world.upTimeMs = 1000000;
    ask(world, "<diagnostics><diagLevel>1</diagLevel><resetAll>1</resetAll></diagnostics>");
    std::string reply = ask(world, "<diagnostics><diagLevel>1</diagLevel></diagnostics>");
    EXPECT_EQ(count_of(reply, "value=\"0\""), 53U);
    world.upTimeMs += 60000;
    reply = ask(world, "<diagnostics><diagLevel>1</diagLevel></diagnostics>");
    EXPECT_EQ(counter(reply, "ipcListener requests"), "61");
}

TEST(Diagnostics, ARequestWithoutALevelIsRefused) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(ask(world, "<diagnostics/>")), kBadRequest);
}

TEST(StorageDiagnostics, NamesAllCountersOfTheStorageDaemon) {
    World world = make_world(1, {});
    const std::string reply = ask_wrapped(world, wrapped(document("<level>1</level>")));
    EXPECT_TRUE(reply.starts_with("<zrp2bksDiagnosticReply><level>1</level><zrp2bksValue "));
    EXPECT_EQ(count_of(reply, "<zrp2bksValue value="), 41U);
    EXPECT_NE(counter(reply, "ipcListener memory request "), "(none)");
    EXPECT_EQ(counter(reply, "ipcListener memory request"), "(none)");
}

TEST(StorageDiagnostics, WordsSelectCounters) {
    World world = make_world(1, {});
    const std::string reply = ask_wrapped(
        world, wrapped(document("<level>1</level><parms><parm0>KVQ</parm>\n<parm1>quota</parm>\n"
                                "</parms>")));
    EXPECT_EQ(count_of(reply, "<zrp2bksValue value="), 8U);
    EXPECT_EQ(text_of(reply, "parms"), "<parm>KVQ</parm><parm>quota</parm>");
}

TEST(StorageDiagnostics, ResetAllResetsTheStorageDaemonOnly) {
    World world = make_world(1, {});
    const std::string reply =
        ask_wrapped(world, wrapped(document("<level>1</level><resetAll>1</resetAll>")));
    EXPECT_EQ(count_of(reply, "value=\"0\""), 41U);
    EXPECT_EQ(text_of(reply, "resetAll"), "1");
    EXPECT_NE(counter(ask(world, "<diagnostics><diagLevel>1</diagLevel></diagnostics>"),
                      "ipcListener requests"),
              "0");
}

TEST(StorageDiagnostics, AnUnwrappedDocumentIsRefused) {
    World world = make_world(1, {});
    EXPECT_EQ(refusal_code(ask_wrapped(world, document("<level>1</level>"))), kBadDocument);
}

TEST(StorageDiagnostics, EachWordOfTheWrapperIsChecked) {
    World world = make_world(1, {});
    const std::string sound = wrapped(document("<level>1</level>"));
    EXPECT_EQ(refusal_code(ask_wrapped(world, sound)), 0);
    for (const size_t at : {0U, 4U, 8U}) {
        std::string message = sound;
        ++message[at];
        EXPECT_EQ(refusal_code(ask_wrapped(world, message)), kBadDocument) << at;
    }
    std::string endless = sound;
    endless[endless.size() - 20] = ' ';
    EXPECT_EQ(refusal_code(ask_wrapped(world, endless)), kBadDocument);
    EXPECT_EQ(refusal_code(ask_wrapped(world, sound.substr(0, 31))), kBadDocument);
    EXPECT_EQ(refusal_code(ask_wrapped(world, sound.substr(0, sound.size() - 1))), kBadDocument);
}

TEST(Versions, EachDaemonHasItsOwn) {
    World world = make_world(1, {});
    const std::string server = ask(world, "<versionTag>\n</versionTag>");
    const std::string storage = ask_storage(world, "<versionTag>\n</versionTag>");
    const std::string management =
        answer_request(world, Peer::kManagement, kManagementRequest,
                       "<libomw2zrpRequestTag pid=\"1\"><versionTag>\n</versionTag>"
                       "</libomw2zrpRequestTag>")
            .text;
    EXPECT_TRUE(management.starts_with("<libomw2zrpReplyTag><versionTag>2026-"));
    EXPECT_TRUE(text_of(server, "versionTag").starts_with("2026-"));
    EXPECT_TRUE(text_of(storage, "versionTag").starts_with("2026-"));
    EXPECT_NE(text_of(server, "versionTag"), text_of(storage, "versionTag"));
}

} // namespace
} // namespace zrp::sim::diagnostics_commands_test
