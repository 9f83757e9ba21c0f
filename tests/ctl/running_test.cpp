// Output, repetition and ending of the program.
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"
#include "tools/harness/deadline.h"

namespace zrp::running_test {
namespace {

using harness::ChildOptions;
using harness::ChildProcess;
using harness::ExitStatus;

#if defined(__has_feature)
#define ZRP_HAS_FEATURE(name) __has_feature(name)
#else
#define ZRP_HAS_FEATURE(name) 0
#endif

// The sanitizer takes more than any limit.
#if defined(__SANITIZE_ADDRESS__) || ZRP_HAS_FEATURE(address_sanitizer)
#define ZRP_NEEDS_PLAIN_MEMORY() GTEST_SKIP() << "the sanitizer needs more memory than the limit"
#else
#define ZRP_NEEDS_PLAIN_MEMORY() static_assert(true, "takes the semicolon")
#endif

ChildOptions piped(std::vector<std::string> words) {
    ChildOptions options;
    options.arguments = std::move(words);
    options.arguments.insert(options.arguments.begin(), ZRPCTL_PROGRAM);
    options.standardInput = harness::kNull;
    options.standardOutput = harness::kPipe;
    options.standardErrors = harness::kPipe;
    return options;
}

std::string statistics(const std::string& bytesRead) {
    return reply("<zrpConsoleReply><serverStatistics><parm><name>bytesRead</name>"
                 "<value type=\"unsignedLong\">" +
                 bytesRead + "</value></parm></serverStatistics></zrpConsoleReply>");
}

TEST(Watch, RepeatsWithOneObjectALineAndReportsAFailedRound) {
    const ScriptedPeer peer(
        kMainDaemonSocket,
        {answering(statistics("1")), answering(reply("<cut>")), answering(statistics("3"))});
    ChildProcess child(piped({"statistics", "--json", "--watch=0.1"}));
    EXPECT_EQ(child.read_line(), "{\"statistics\":[{\"name\":\"bytesRead\",\"value\":1}]}");
    EXPECT_EQ(child.read_line(), "{\"error\":{\"kind\":\"reply\",\"message\":\"the reply is cut "
                                 "short or malformed\",\"daemon\":\"server\"}}");
    EXPECT_EQ(child.read_line(), "{\"statistics\":[{\"name\":\"bytesRead\",\"value\":3}]}");
    child.send_signal(SIGINT);
    EXPECT_EQ(child.wait(), (ExitStatus{0, 0}));
}

TEST(Watch, EndsWithTheStatusOfItsLastRound) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answering(statistics("1")), answering(reply("<cut>"))});
    ChildProcess child(piped({"statistics", "--json", "--watch=60"}));
    ASSERT_TRUE(child.read_line());
    child.send_signal(SIGTERM);
    EXPECT_EQ(child.wait(), (ExitStatus{0, 0}));
    ChildProcess failing(piped({"statistics", "--json", "--watch=60"}));
    ASSERT_TRUE(failing.read_line());
    failing.send_signal(SIGINT);
    EXPECT_EQ(failing.wait(), (ExitStatus{5, 0}));
}

TEST(Watch, ShowsDifferencesASecond) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answering(statistics("1000")), answering(statistics("2000")),
                             answering(statistics("10"))});
    ChildProcess child(piped({"statistics", "--json", "--rate", "--watch=0.2"}));
    const auto item = [&] {
        return nlohmann::ordered_json::parse(child.read_line().value_or("null"))["statistics"][0];
    };
    EXPECT_FALSE(item().contains("rate"));
    const nlohmann::ordered_json second = item();
    const double rate = second.value("rate", 0.0);
    EXPECT_LT(rate, 1e5); // a slow first round makes the second come sooner
    EXPECT_GT(rate, 0.0);
    EXPECT_FALSE(item().contains("rate")) << "the counter went backwards";
}

TEST(Watch, HasTheTimeLimitForEachRound) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    ChildProcess child(piped({"versions", "--json", "--watch=0.5", "--timeout", "1"}));
    for (int round = 0; round < 4; round++) {
        const auto line = child.read_line();
        ASSERT_TRUE(line && line->starts_with("{\"versions\"")) << line.value_or("");
        EXPECT_EQ(line->find("error"), line->npos) << *line;
    }
    child.send_signal(SIGINT);
    EXPECT_EQ(child.wait(), (ExitStatus{0, 0}));
}

TEST(Watch, RefusesARateWithoutRounds) {
    EXPECT_EQ(run_zrpctl({"statistics", "--rate"}).status, 2);
}

TEST(Ending, CtrlCEndsAnExchangeThatHangs) {
    ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    ChildProcess child(piped({"volumes", "--json"}));
    ASSERT_TRUE(peer.wait_for_connections(1));
    child.send_signal(SIGINT);
    EXPECT_EQ(child.read_line(), "{\"error\":{\"kind\":\"interrupted\",\"message\":\"interrupted\","
                                 "\"daemon\":\"server\"}}");
    EXPECT_EQ(child.wait(), (ExitStatus{130, 0}));
}

TEST(Ending, AReaderThatClosesThePipeEndsItSilently) {
    const SimulatedServer server({"--volumes", "256"});
    ASSERT_TRUE(server.ready());
    ChildProcess child(piped({"volumes", "--watch=0.1"}));
    ASSERT_TRUE(child.read_line());
    child.output().reset();
    EXPECT_EQ(child.wait(), (ExitStatus{0, SIGPIPE}));
    char byte = 0;
    EXPECT_EQ(read(child.errors().get(), &byte, 1), 0);
}

TEST(Ending, APipeIsAnEndAlsoWhereTheSignalWasIgnored) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const harness::Descriptor writer(ends[1]);
    ChildOptions options;
    options.arguments = {"/bin/sh", "-c", "trap '' PIPE; exec \"$0\" --help", ZRPCTL_PROGRAM};
    options.standardOutput = writer.get();
    ChildProcess child(options);
    EXPECT_EQ(child.wait(), (ExitStatus{0, SIGPIPE}));
}

TEST(Ending, CtrlCEndsAWait) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<cut>"))}});
    ChildProcess child(piped({"wait", "server", "--json"}));
    ASSERT_TRUE(peer.wait_for_finished(2));
    child.send_signal(SIGINT);
    EXPECT_EQ(child.wait(), (ExitStatus{130, 0}));
}

TEST(Output, ADiskThatIsFullIsAFailure) {
    const harness::Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ChildOptions options = piped({"--version"});
    options.standardOutput = full.get();
    ChildProcess child(options);
    EXPECT_EQ(child.wait(), (ExitStatus{6, 0}));
}

// Runs a line of the shell, in which $Z is the program.
Ran shell(const std::string& line) {
    ChildOptions options;
    options.arguments = {"/bin/sh", "-c", line};
    options.environment = {"Z=" ZRPCTL_PROGRAM};
    options.standardOutput = harness::kPipe;
    ChildProcess child(options);
    Ran ran;
    ran.output = child.read_all();
    ran.status = child.wait().value_or(ExitStatus{-1, 0}).shell_status();
    return ran;
}

TEST(Output, AClosedStreamIsAFailureAndNoSocketGetsIt) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(shell("\"$Z\" volumes >&- 2>/dev/null").status, 6);
    EXPECT_EQ(shell("\"$Z\" volumes 2>&- >/dev/null").status, 0);
}

TEST(Output, NothingButTextGoesIntoAPipe) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(run_zrpctl({"status"}).output.find('\x1b'), std::string::npos);
}

TEST(Output, NumbersKeepTheirPointInEveryLocale) {
    const SimulatedServer server({"--clock", "100000"});
    ASSERT_TRUE(server.ready());
    const Ran here = run_zrpctl({"threads", "--json"}, {.environment = {"LC_ALL=C"}});
    const Ran there = run_zrpctl({"threads", "--json"}, {.environment = {"LC_ALL=de_DE.UTF-8"}});
    EXPECT_EQ(here.output, there.output);
    EXPECT_EQ(
        run_zrpctl({"threads", "--timeout", "0.5"}, {.environment = {"LC_ALL=de_DE.UTF-8"}}).status,
        0);
}

TEST(Output, ALocalTimeHasItsOffset) {
    const SimulatedServer server({"--clock", "100000"});
    ASSERT_TRUE(server.ready());
    const Ran ran = run_zrpctl({"connection", "4"}, {.environment = {"TZ=UTC-5:30"}});
    EXPECT_NE(ran.output.find(" +0530\n"), std::string::npos) << ran.output;
}

TEST(Output, VerboseShowsBothDocumentsOnStandardError) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const Ran quiet = run_zrpctl({"volume", "SYS"});
    const Ran verbose = run_zrpctl({"volume", "SYS", "--verbose"});
    EXPECT_EQ(quiet.errors, "");
    EXPECT_NE(verbose.errors.find("> server daemon:\n<zrpConsoleRequest"), std::string::npos);
    EXPECT_NE(verbose.errors.find("< server daemon:\n<zrpConsoleReply>"), std::string::npos);
}

// In a user namespace of its own, where the server's user has no number.
TEST(Status, WarnsOfADaemonThatIsNotRoots) {
    if (shell("unshare --user true 2>/dev/null").status != 0) {
        GTEST_SKIP() << "needs user namespaces";
    }
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const Ran plain = shell("unshare --user \"$Z\" status 2>&1 >/dev/null");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.output,
              "zrpctl: warning: the server daemon runs as user 65534, not as root\n"
              "zrpctl: warning: the storage daemon runs as user 65534, not as root\n"
              "zrpctl: warning: the management daemon runs as user 65534, not as root\n");
    const Ran json = shell("unshare --user \"$Z\" status --json 2>/dev/null");
    EXPECT_EQ(json.json()["status"]["daemons"][1]["userId"], 65534);
}

TEST(Output, ASystemWithoutThreadsIsAFailure) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    // Stacks larger than any address space.
    const Ran ran = shell("ulimit -s 200000000000; \"$Z\" status --json 2>/dev/null");
    EXPECT_EQ(ran.status, 6);
    EXPECT_EQ(ran.json()["error"]["kind"], "output");
}

TEST(Output, NotEnoughMemoryForAReplyIsAFailure) {
    ZRP_NEEDS_PLAIN_MEMORY();
    const ScriptedPeer peer(kMainDaemonSocket, {answering(reply(std::string(100 << 20, 'x')))});
    const Ran ran = shell("ulimit -v 65536; \"$Z\" volumes --json 2>/dev/null");
    EXPECT_EQ(ran.status, 6);
    EXPECT_EQ(ran.json()["error"]["message"], "out of memory");
}

constexpr int kManyConnections = 20'000;
constexpr const char* kManyText = "20000";

TEST(Size, TwentyThousandConnectionsFitIntoSixtyFourMebibytes) {
    ZRP_NEEDS_PLAIN_MEMORY();
    const SimulatedServer server({"--connections", kManyText});
    ASSERT_TRUE(server.ready());
    for (const char* form : {"--json", "--no-heading"}) {
        const auto start = std::chrono::steady_clock::now();
        const Ran ran = shell(std::string("ulimit -v 65536; \"$Z\" connections ") + form);
        EXPECT_EQ(ran.status, 0);
        // A tenth of that is enough for an optimised program on a machine at rest.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        size_t count = 0;
        const std::string mark = *form == '-' && form[2] == 'j' ? "{\"number\"" : "\n";
        for (size_t at = ran.output.find(mark); at != std::string::npos;
             at = ran.output.find(mark, at + 1)) {
            count++;
        }
        EXPECT_EQ(count, static_cast<size_t>(kManyConnections));
    }
}

} // namespace
} // namespace zrp::running_test
