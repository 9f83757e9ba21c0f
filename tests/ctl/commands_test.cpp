// Every command in success, in refusal and under every fault of the simulated server.
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/command.h"
#include "ctl/failure.h"
#include "tests/ctl/command_cases.h"
#include "tests/ctl/run_here.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/ctl/server_suite.h"
#include "tests/support/needs.h"

namespace zrp::commands_test {
namespace {

using Words = std::vector<std::string>;

// A command that changes something must not ask first.
Words call(const CommandCase& one, const Words& more = {}) {
    Words words = one.arguments;
    if (ctl::find_command(one.command)->effect != ctl::Effect::kReadOnly) {
        words.emplace_back("--yes");
    }
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

void make_possible(const CommandCase& one) {
    if (!one.before.empty()) {
        Words before = one.before;
        before.insert(before.end(), {"--yes", "--timeout", "0.2"});
        (void)run_here(before);
    }
}

Ran run_case_here(const CommandCase& one, const Words& more) {
    make_possible(one);
    return run_here(call(one, more));
}

constexpr int kUnreachable = 3;
constexpr int kTimedOut = 4;

struct FaultCase {
    const char* fault;
    int status;
};

constexpr FaultCase kFaults[] = {
    {"hang", 4},        {"drip", 0},          {"drip-header", 0}, {"short-header", 5},
    {"wrong-magic", 5}, {"swapped-magic", 5}, {"status", 1},      {"early-close", 5},
    {"zero-length", 5}, {"long-length", 5},   {"huge-length", 5}, {"garbage", 5},
    {"truncated", 5},   {"error-reply", 1},   {"unclosed", 5},
};

// Of the command for what is a failure of another.
int expected_status(const CommandCase& one, int status) {
    if (status == 0 || one.reportsAll) {
        return 0;
    }
    return one.waits ? kTimedOut : status;
}

const char* kind_of(int status) {
    for (const ctl::ExitStatus& row : ctl::exit_statuses()) {
        if (row.status == status) {
            return row.name;
        }
    }
    return "?";
}

// What a failure has to look like.
void expect_failure(const CommandCase& one, const Ran& ran, int status) {
    const auto object = ran.json();
    ASSERT_TRUE(object.is_object()) << ran.output;
    ASSERT_TRUE(object.contains("error")) << ran.output;
    const auto& error = object["error"];
    EXPECT_EQ(error["kind"], kind_of(status));
    EXPECT_EQ(error.contains("code"), status == 1);
    EXPECT_NE(error.value("message", ""), "");
    EXPECT_NE(ran.errors.find(error.value("message", "")), std::string::npos) << ran.errors;
    EXPECT_EQ(object.size() > 1, one.isPartial) << ran.output;
}

class Commands : public ServerSuite, public testing::WithParamInterface<CommandCase> {};

TEST_P(Commands, Succeeds) {
    make_possible(GetParam());
    const Ran plain = run_zrpctl(call(GetParam(), {"--if-needed"}));
    EXPECT_EQ(plain.status, 0) << plain.errors;
    EXPECT_NE(plain.output, "");
    // Without namespaces the server is not root's, of which status warns.
    EXPECT_TRUE(plain.errors.empty() || !test_network().root) << plain.errors;
}

TEST_P(Commands, AnswersWithOneObject) {
    const Ran ran = run_case_here(GetParam(), {"--json", "--if-needed"});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_TRUE(ran.json().is_object()) << ran.output;
    EXPECT_FALSE(ran.json().contains("error"));
}

TEST_P(Commands, NamesEveryFault) {
    const CommandCase& one = GetParam();
    for (const auto& [fault, status] : kFaults) {
        if (one.element == nullptr) {
            break;
        }
        SCOPED_TRACE(fault);
        ASSERT_TRUE(begin(std::string(fault) + ':' + one.element));
        const int expected = expected_status(one, status);
        const char* limit = status == kTimedOut || expected == kTimedOut ? "0.2" : "20";
        // The fault comes after the change, which would then be found made.
        Words more = {"--timeout", limit};
        if (expected == 0) {
            more.emplace_back("--if-needed");
        }
        const Ran plain = run_case_here(one, more);
        more.emplace_back("--json");
        const Ran ran = run_case_here(one, more);
        EXPECT_EQ(ran.status, expected) << ran.errors;
        if (expected != 0) {
            expect_failure(one, ran, expected);
        }
        EXPECT_EQ(plain.output.empty(), expected != 0 && !one.isPartial) << plain.output;
    }
}

TEST_P(Commands, SaysThatADaemonIsNotThere) {
    const CommandCase& one = GetParam();
    if (one.socket == nullptr) {
        ASSERT_TRUE(begin("refuse"));
        EXPECT_EQ(run_zrpctl(call(one)).status, 0);
        return;
    }
    ASSERT_TRUE(begin(std::string("refuse:") + one.socket));
    const int expected = expected_status(one, kUnreachable);
    const Ran ran = run_zrpctl(call(one, {"--json", "--timeout", one.waits ? "0.2" : "20"}));
    EXPECT_EQ(ran.status, expected);
    if (expected != 0) {
        expect_failure(one, ran, expected);
    }
}

TEST_P(Commands, HasHelpThatNeedsNoServer) {
    ASSERT_TRUE(begin("refuse"));
    std::istringstream words(GetParam().command);
    Words asking = {"help"};
    asking.insert(asking.end(), std::istream_iterator<std::string>(words), {});
    const Ran help = run_here(asking);
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.output.find(ctl::find_command(GetParam().command)->example), std::string::npos);
    asking.erase(asking.begin());
    asking.emplace_back("--help");
    const Ran option = run_zrpctl(asking);
    EXPECT_EQ(option.status, 0);
    EXPECT_EQ(option.output, help.output);
}

// What the commands say of faults, they say in this process.
class Program : public ServerSuite {};

TEST_F(Program, EndsWithTheStatusOfEachFault) {
    const CommandCase one = {"volumes", {"volumes", "--json", "--timeout"}};
    for (const auto& [fault, status] : kFaults) {
        SCOPED_TRACE(fault);
        ASSERT_TRUE(begin(fault));
        const Ran ran = run_zrpctl(call(one, {status == kTimedOut ? "0.2" : "20"}));
        EXPECT_EQ(ran.status, status) << ran.errors;
        if (status != 0) {
            expect_failure(one, ran, status);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Ctl, Commands, testing::ValuesIn(command_cases()),
                         [](const auto& one) { return test_name(one.param.command); });

TEST(CommandTable, EachRowHasATest) {
    std::set<std::string> tested;
    for (const CommandCase& one : command_cases()) {
        EXPECT_TRUE(tested.insert(one.command).second) << one.command;
        EXPECT_NE(ctl::find_command(one.command), nullptr) << one.command;
    }
    for (const ctl::Command& command : ctl::commands()) {
        EXPECT_TRUE(tested.contains(command.name)) << command.name;
    }
}

TEST(CommandTable, EachRowThatAsksMeetsEveryFault) {
    for (const CommandCase& one : command_cases()) {
        EXPECT_EQ(one.element == nullptr, std::string(one.command) == "help") << one.command;
        EXPECT_EQ(one.socket == nullptr, one.element == nullptr) << one.command;
    }
}

TEST(CommandTable, EachFaultOfTheSimulatorIsMet) {
    std::set<std::string> met = {"refuse"}; // keeps a daemon from listening
    for (const FaultCase& one : kFaults) {
        met.insert(one.fault);
    }
    harness::ChildProcess simulator(
        {.arguments = {ZRPSIM_PROGRAM, "--list-faults"}, .standardOutput = harness::kPipe});
    std::set<std::string> listed;
    while (const auto line = simulator.read_line()) {
        listed.insert(line->substr(0, line->find(' ')));
    }
    EXPECT_EQ(met, listed);
}

TEST(CommandTable, EachRowHasAnExampleThatIsItself) {
    for (const ctl::Command& command : ctl::commands()) {
        EXPECT_NE(std::string(command.example).find(command.name), std::string::npos)
            << command.name;
    }
}

} // namespace
} // namespace zrp::commands_test
