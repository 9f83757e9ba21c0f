// What differs between a terminal and a pipe: colour, clearing, documents made visible.
#include "tools/harness/terminal.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "ctl/command.h"
#include "tests/ctl/command_cases.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/ctl/server_suite.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::terminal_test {
namespace {

constexpr const char* kBold = "\x1b[1m";
constexpr const char* kClear = "\x1b[H\x1b[2J";

// All that a run prints on a terminal.
std::string on_terminal(std::vector<std::string> words, std::vector<std::string> environment = {}) {
    words.insert(words.begin(), ZRPCTL_PROGRAM);
    environment.emplace_back("NO_COLOR"); // not set, unless a later change sets it
    std::rotate(environment.begin(), environment.end() - 1, environment.end());
    harness::Terminal terminal(
        {.child = {.arguments = std::move(words), .environment = std::move(environment)}});
    const auto status = terminal.wait_for_exit();
    EXPECT_EQ(status, harness::ExitStatus{}) << terminal.raw_output();
    return terminal.raw_output();
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(OnATerminal, HeadingsAreBoldUnlessTheUserForbids) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    EXPECT_TRUE(contains(on_terminal({"volumes"}), kBold));
    EXPECT_TRUE(contains(on_terminal({"volumes"}, {"NO_COLOR="}), kBold));
    EXPECT_FALSE(contains(on_terminal({"volumes"}, {"NO_COLOR=1"}), "\x1b"));
    EXPECT_FALSE(contains(on_terminal({"volumes", "--no-heading"}), "\x1b"));
    EXPECT_FALSE(contains(on_terminal({"volumes", "--json"}), "\x1b"));
    EXPECT_FALSE(contains(run_zrpctl({"volumes"}).output, "\x1b"));
}

TEST(OnATerminal, EachRoundClearsTheScreen) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    harness::Terminal terminal(
        {.rows = 60, .child = {.arguments = {ZRPCTL_PROGRAM, "volumes", "--watch=0.1"}}});
    const auto rounds = [&] {
        size_t count = 0;
        const std::string& raw = terminal.raw_output();
        for (size_t at = raw.find(kClear); at != raw.npos; at = raw.find(kClear, at + 1)) {
            count++;
        }
        return count;
    };
    // Before Ctrl-C, which may come between the clearing and the heading of a round.
    EXPECT_TRUE(terminal.wait_until([&] {
        return rounds() >= 3 && contains(terminal.row(0), "NUMBER");
    })) << terminal.raw_output();
    terminal.type("\x03");
    ASSERT_TRUE(terminal.wait_for_exit());
}

TEST(OnATerminal, ObjectsOfAWatchClearNothing) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    harness::Terminal terminal(
        {.child = {.arguments = {ZRPCTL_PROGRAM, "versions", "--watch=0.1", "--json"}}});
    ASSERT_TRUE(terminal.wait_for("{\"versions\":"));
    terminal.type("\x03");
    ASSERT_TRUE(terminal.wait_for_exit());
    EXPECT_FALSE(contains(terminal.raw_output(), kClear));
}

class Example : public ServerSuite, public testing::WithParamInterface<const ctl::Command*> {};

// As the help prints it, by a person who says yes.
TEST_P(Example, Works) {
    const std::string program = ZRPCTL_PROGRAM;
    const std::string path = program.substr(0, program.rfind('/')) + ":/usr/bin:/bin";
    harness::Terminal terminal({.rows = 60,
                                .columns = 200,
                                .child = {.arguments = {"/bin/sh", "-c", GetParam()->example},
                                          .environment = {"PATH=" + path}}});
    if (GetParam()->effect == ctl::Effect::kChanges) {
        ASSERT_TRUE(terminal.wait_for("? [y/N] ")) << terminal.text();
        terminal.type("y\r");
    }
    EXPECT_EQ(terminal.wait_for_exit(), harness::ExitStatus{}) << terminal.text();
}

std::vector<const ctl::Command*> all_commands() {
    std::vector<const ctl::Command*> all;
    for (const ctl::Command& command : ctl::commands()) {
        all.push_back(&command);
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Ctl, Example, testing::ValuesIn(all_commands()),
                         [](const auto& one) { return test_name(one.param->name); });

constexpr const char* kDocument = CTL_TESTS "/threads.xml";

// With what a terminal would obey, and what a reader of documents might change.
const std::string kRawReply = "\n<zrpConsoleReply>\r\n\t<threads a='1'>&lt;<![CDATA[<&>]]>"
                              "\x1b[2J\xc2\x9b\xff</threads></zrpConsoleReply>\n\n";

TEST(Send, APipeGetsTheBytesOfTheReply) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(kRawReply))}});
    const Ran ran = run_zrpctl({"send", kDocument, "--yes"});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_EQ(ran.output, kRawReply);
    const Ran json = run_zrpctl({"send", kDocument, "--yes", "--json"});
    EXPECT_TRUE(contains(json.json()["reply"], "\x1b[2J\xc2\x9b\xef\xbf\xbd</threads>"))
        << json.output;
}

TEST(Send, ATerminalGetsWhatIsVisible) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(kRawReply))}});
    const std::string shown = on_terminal({"send", kDocument, "--yes"});
    EXPECT_TRUE(contains(shown, "\xef\xbf\xbd[2J")) << shown;
    EXPECT_FALSE(contains(shown, "\x1b"));
    EXPECT_FALSE(contains(shown, "\xc2\x9b"));
    EXPECT_FALSE(contains(shown, "\xff"));
}

TEST(Send, TheDocumentIsSentAsItStands) {
    const std::string document = " <zrpConsoleRequest>\r\n<x>&amp;</x>\xff</zrpConsoleRequest>\n";
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply("<zrpConsoleReply/>"))}});
    const Ran ran = run_zrpctl({"send", "-", "--yes"}, {.environment = {}, .input = document});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_TRUE(peer.requests().at(0).ends_with(document));
    const Ran dry = run_zrpctl({"send", "-", "--dry-run"}, {.environment = {}, .input = document});
    EXPECT_EQ(dry.output, document);
    EXPECT_EQ(peer.connections(), 1U);
}

// The documents of other commands, for the daemons that these ask.
TEST(Send, EachDaemonCanBeMeant) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const struct {
        std::vector<std::string> command;
        const char* to;
        const char* shown;
    } cases[] = {
        {{"diagnostics", "server", "--reset"}, "server", "<diagValue"},
        {{"diagnostics", "storage", "--reset"}, "storage", "<zrp2bksValue"},
        {{"log-level", "DEBUG"}, "STORAGE", "<options>DEBUG<"},
    };
    for (const auto& [command, to, shown] : cases) {
        std::vector<std::string> dry = command;
        dry.emplace_back("--dry-run");
        const std::string document = run_zrpctl(dry).output;
        const Ran ran =
            run_zrpctl({"send", "-", "--to", to, "--yes"}, {.environment = {}, .input = document});
        EXPECT_EQ(ran.status, 0) << ran.errors;
        EXPECT_TRUE(contains(ran.output, shown)) << ran.output;
    }
    EXPECT_EQ(run_zrpctl({"send", kDocument, "--to", "management", "--yes"}).status, 1);
    EXPECT_EQ(run_zrpctl({"send", kDocument, "--to", "nobody", "--yes"}).status, 2);
}

} // namespace
} // namespace zrp::terminal_test
