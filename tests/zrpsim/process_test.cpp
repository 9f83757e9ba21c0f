#include <cerrno>
#include <csignal>
#include <ostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "common/transport.h"
#include "tests/support/needs.h"
#include "tools/harness/child_process.h"

namespace zrp::process_test {
namespace {

using harness::ChildOptions;
using harness::ChildProcess;
using harness::ExitStatus;

constexpr std::string_view kStatistics =
    "<zrpConsoleRequest><serverStatistics><versionTag>1</versionTag></serverStatistics>"
    "</zrpConsoleRequest>";
constexpr std::string_view kStorageVersion =
    "<zrp2bks_request><versionTag>\n</versionTag></zrp2bks_request>";
constexpr int32_t kShortWaitMs = 200; // for what never comes
constexpr int32_t kLongWaitMs = 30000;

ChildOptions simulator(std::vector<std::string> arguments) {
    ChildOptions options;
    arguments.insert(arguments.begin(), ZRPSIM_PROGRAM);
    options.arguments = std::move(arguments);
    options.standardInput = harness::kPipe;
    options.standardOutput = harness::kPipe;
    options.standardErrors = harness::kPipe;
    return options;
}

// Starts a simulator and waits until it listens.
ChildProcess started(std::vector<std::string> arguments = {}) {
    ChildProcess child(simulator(std::move(arguments)));
    EXPECT_EQ(child.read_line(), "ready");
    return child;
}

// Sends a control line to a simulator and returns its answer.
std::string answer_to(ChildProcess& child, const std::string& line) {
    const std::string text = line + "\n";
    EXPECT_EQ(write(child.input().get(), text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
    return child.read_line().value_or("(no answer)");
}

struct Exchange {
    int code;
    uint64_t length;
    std::string reply;
};

Exchange exchange(const char* socket, uint32_t number, std::string_view request,
                  int32_t timeoutMs = kLongWaitMs) {
    Exchange result{};
    char* reply = nullptr;
    result.code = IPCServRequestTimeout(socket, number, request.size(), request.data(),
                                        &result.length, &reply, timeoutMs);
    const HeapText guard(reply);
    if (reply != nullptr) {
        result.reply.assign(reply, result.length);
    }
    return result;
}

Exchange ask_statistics(int32_t timeoutMs = kLongWaitMs) {
    return exchange(kMainDaemonSocket, kMainDaemonRequest, kStatistics, timeoutMs);
}

// Does not read the reply.
void send_statistics_request(IPCClient& client) {
    ASSERT_EQ(client.Connect(kMainDaemonSocket), 0);
    ASSERT_EQ(client.SendHeader(kMainDaemonRequest, kStatistics.size()), 0);
    ASSERT_EQ(client.Send(kStatistics.size(), kStatistics.data()), 0);
}

bool is_whole(const std::string& reply) {
    return reply.starts_with("<zrpConsoleReply><serverStatistics>") &&
           reply.ends_with("</serverStatistics></zrpConsoleReply>");
}

TEST(Simulator, AnswersOnEachOfItsThreeSockets) {
    ChildProcess child = started();
    EXPECT_TRUE(is_whole(ask_statistics().reply));
    EXPECT_TRUE(exchange(kStorageDaemonSocket, kStorageDaemonRequest, kStorageVersion)
                    .reply.starts_with("<zrp2bks_reply>"));
    EXPECT_TRUE(exchange(kManagementSocket, kManagementRequest,
                         "<libomw2zrpRequestTag><versionTag/></libomw2zrpRequestTag>")
                    .reply.starts_with("<libomw2zrpReplyTag>"));
}

TEST(Simulator, EndsCleanlyOnASignal) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ChildProcess child = started();
        child.send_signal(signal);
        EXPECT_EQ(child.wait(), (ExitStatus{0, 0})) << signal;
    }
}

TEST(Simulator, EndsCleanlyWhileAClientWaits) {
    ChildProcess child = started({"--fault", "hang"});
    IPCClient client;
    send_statistics_request(client);
    child.send_signal(SIGTERM);
    EXPECT_EQ(child.wait(), (ExitStatus{0, 0}));
}

TEST(Simulator, DoesNotStartWhenANameIsInUse) {
    ChildProcess first = started();
    ChildProcess second(simulator({}));
    EXPECT_EQ(second.wait(), (ExitStatus{1, 0}));
    EXPECT_EQ(second.read_all(), "");
    EXPECT_TRUE(is_whole(ask_statistics().reply));
}

TEST(Simulator, RefusesInvalidOptions) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--fault", "melt"}, {"--clock", "-1"}, {"--volumes", "257"}, {"--unknown"}, {"word"}};
    for (const auto& arguments : wrong) {
        ChildProcess child(simulator(arguments));
        EXPECT_EQ(child.wait(), (ExitStatus{1, 0})) << arguments.front();
    }
}

TEST(Simulator, ListsItsFaults) {
    ChildProcess child(simulator({"--list-faults"}));
    EXPECT_NE(child.read_all().find("swapped-magic  begin the header"), std::string::npos);
    EXPECT_EQ(child.wait(), (ExitStatus{0, 0}));
}

TEST(Simulator, EveryReplyIsTheSameWithAPinnedClock) {
    ChildProcess child = started({"--clock", "90061"});
    const Exchange first = ask_statistics();
    EXPECT_NE(first.reply.find("<value type=\"diffSeconds\">90061<"), std::string::npos);
    child.terminate();
    ChildProcess again = started({"--clock", "90061"});
    EXPECT_EQ(ask_statistics().reply, first.reply);
}

TEST(Simulator, LogsALineForEachRequest) {
    ChildOptions options = simulator({"-v"});
    ChildProcess child(options);
    ASSERT_EQ(child.read_line(), "ready");
    ask_statistics();
    char line[128] = {};
    ASSERT_GT(read(child.errors().get(), line, sizeof line - 1), 0);
    EXPECT_STREQ(line, "zrpserv 0xdeadbeef 102 serverStatistics\n");
}

struct FaultRow {
    const char* fault;
    int code;
    bool whole; // whether the reply arrives undamaged
};

void PrintTo(const FaultRow& row, std::ostream* out) {
    *out << row.fault;
}

class SimulatorFault : public testing::TestWithParam<FaultRow> {};

TEST_P(SimulatorFault, HasItsCodeInTheTransport) {
    ChildProcess child = started({"--fault", GetParam().fault});
    const bool isMute = std::string_view(GetParam().fault) == "hang";
    const Exchange result = ask_statistics(isMute ? kShortWaitMs : kLongWaitMs);
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(is_whole(result.reply), GetParam().whole) << result.reply;
}

INSTANTIATE_TEST_SUITE_P(
    Simulator, SimulatorFault,
    testing::Values(FaultRow{"refuse", ECONNREFUSED, false}, FaultRow{"hang", kShortHeader, false},
                    FaultRow{"drip", 0, true}, FaultRow{"drip-header", kShortHeader, false},
                    FaultRow{"short-header", kShortHeader, false},
                    FaultRow{"wrong-magic", kBadMagic, false},
                    FaultRow{"swapped-magic", kBadMagic, false}, FaultRow{"status", 5, true},
                    FaultRow{"early-close", 0, false}, FaultRow{"zero-length", 0, false},
                    FaultRow{"garbage", 0, false}, FaultRow{"truncated", 0, false},
                    FaultRow{"error-reply", 0, false}, FaultRow{"refuse:zrp2bks", 0, true},
                    FaultRow{"hang:listVolumes", 0, true}),
    [](const auto& row) {
        std::string name = row.param.fault;
        for (char& c : name) {
            c = c == '-' || c == ':' ? '_' : c;
        }
        return name;
    });

TEST(Simulator, AFaultOfOneSocketDoesNotAffectTheOthers) {
    ChildProcess child = started({"--fault", "refuse:zrp2bks"});
    EXPECT_EQ(exchange(kStorageDaemonSocket, kStorageDaemonRequest, kStorageVersion).code,
              ECONNREFUSED);
}

TEST(Simulator, FaultsChangeWhileItRuns) {
    ChildProcess child = started({"--control"});
    EXPECT_TRUE(is_whole(ask_statistics().reply));
    EXPECT_EQ(answer_to(child, "fault wrong-magic"), "ok");
    EXPECT_EQ(ask_statistics().code, kBadMagic);
    EXPECT_EQ(answer_to(child, "fault refuse"), "ok");
    EXPECT_EQ(ask_statistics().code, ECONNREFUSED);
    EXPECT_EQ(answer_to(child, "fault none"), "ok");
    EXPECT_TRUE(is_whole(ask_statistics().reply));
}

TEST(Simulator, TheClockIsStoppedAndStartedWhileItRuns) {
    ChildProcess child = started({"--control"});
    EXPECT_EQ(answer_to(child, "clock 59"), "ok");
    const Exchange pinned = ask_statistics();
    EXPECT_NE(pinned.reply.find("<value type=\"diffSeconds\">59<"), std::string::npos);
    EXPECT_EQ(ask_statistics().reply, pinned.reply);
    EXPECT_EQ(answer_to(child, "clock run"), "ok");
}

TEST(Simulator, FillsAVolumeAndDisablesLoginsWhenTold) {
    constexpr std::string_view kVolume =
        "<zrpConsoleRequest><volumeInformation><volume><name>DATA</name><versionTag>5</versionTag>"
        "</volume></volumeInformation></zrpConsoleRequest>";
    ChildProcess child = started({"--control"});
    const auto free_clusters = [&] {
        return exchange(kMainDaemonSocket, kMainDaemonRequest, kVolume).reply;
    };
    EXPECT_EQ(free_clusters().find("<freeClusters>0</freeClusters>"), std::string::npos);
    EXPECT_EQ(answer_to(child, "fill DATA 100"), "ok");
    EXPECT_NE(free_clusters().find("<freeClusters>0</freeClusters>"), std::string::npos);
    EXPECT_EQ(answer_to(child, "login off"), "ok");
    EXPECT_NE(ask_statistics().reply.find("<logAllowed>0</logAllowed>"), std::string::npos);
    EXPECT_EQ(answer_to(child, "login on"), "ok");
    EXPECT_NE(ask_statistics().reply.find("<logAllowed>1</logAllowed>"), std::string::npos);
    EXPECT_EQ(answer_to(child, "fill NONE 5"), "error: no volume \"NONE\"");
    EXPECT_EQ(answer_to(child, "fill DATA 101"),
              "error: fill takes a volume and how many percent of it are used");
    EXPECT_EQ(answer_to(child, "login maybe"), "error: login takes \"on\" or \"off\"");
}

TEST(Simulator, LetsClientsConnect) {
    ChildProcess child = started({"--control", "--connections", "0"});
    EXPECT_EQ(answer_to(child, "connect 3"), "ok");
    EXPECT_EQ(answer_to(child, "connect 2 admin.acme"), "ok");
    const std::string reply = ask_statistics().reply;
    EXPECT_NE(reply.find("connectionSlotsInUse</name><value type=\"unsignedInt\">5<"),
              std::string::npos)
        << reply;
    EXPECT_NE(reply.find("notLoggedInCount</name><value type=\"unsignedInt\">3<"),
              std::string::npos)
        << reply;
    for (const char* line : {"connect", "connect -1", "connect x"}) {
        EXPECT_EQ(answer_to(child, line),
                  "error: connect takes a number of clients, and a user if they are logged in");
    }
    EXPECT_EQ(answer_to(child, "connect 32763"), "error: there are 32767 connection slots");
}

TEST(Simulator, RestoresTheWorldOfTheStart) {
    ChildProcess child = started({"--control", "--clock", "60"});
    const std::string first = ask_statistics().reply;
    EXPECT_EQ(answer_to(child, "connect 3"), "ok");
    EXPECT_EQ(answer_to(child, "login off"), "ok");
    const std::string changed = ask_statistics().reply;
    EXPECT_NE(changed, first);
    EXPECT_EQ(answer_to(child, "restore"), "ok");
    EXPECT_EQ(ask_statistics().reply, first);
    EXPECT_EQ(answer_to(child, "fault wrong-magic"), "ok");
    EXPECT_EQ(answer_to(child, "restore"), "ok");
    EXPECT_EQ(ask_statistics().code, kBadMagic);
}

TEST(Simulator, AWrongCommandGetsAnError) {
    ChildProcess child = started({"--control"});
    EXPECT_EQ(answer_to(child, "dance"), "error: unknown command \"dance\"");
    EXPECT_EQ(answer_to(child, "fault melt"), "error: no fault named \"melt\"");
    EXPECT_EQ(answer_to(child, "clock soon"), "error: clock takes a number of seconds or \"run\"");
}

TEST(Simulator, IgnoresTheEndOfItsInput) {
    ChildProcess child = started({"--control"});
    child.input().reset();
    EXPECT_TRUE(is_whole(ask_statistics().reply));
}

TEST(Simulator, EndsOnTheQuitCommand) {
    ChildProcess child = started({"--control"});
    EXPECT_EQ(answer_to(child, "quit"), "ok");
    EXPECT_EQ(child.wait(), (ExitStatus{0, 0}));
}

TEST(Simulator, AnswersRequestsOnly) {
    ChildProcess child = started();
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), 0);
    const RequestHeader header{0x12345678, kMainDaemonRequest, 4};
    ASSERT_EQ(client.Send(sizeof header, &header), 0);
    uint32_t status = 0;
    uint64_t length = 0;
    char* reply = nullptr;
    EXPECT_EQ(client.Receive(&status, &length, &reply), kShortHeader);
}

TEST(Simulator, AClientThatClosesEarlyDoesNotAffectOthers) {
    ChildProcess child = started({"--control"});
    for (const char* fault : {"fault none", "fault drip", "fault hang"}) {
        EXPECT_EQ(answer_to(child, fault), "ok");
        IPCClient client;
        send_statistics_request(client);
    }
    EXPECT_EQ(answer_to(child, "fault none"), "ok");
    EXPECT_TRUE(is_whole(ask_statistics().reply));
}

} // namespace
} // namespace zrp::process_test
