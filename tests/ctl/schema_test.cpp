// Every answer against the installed schema, which another program reads.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/command.h"
#include "tests/ctl/command_cases.h"
#include "tests/ctl/run_here.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/support/simulated_server.h"

namespace zrp::schema_test {
namespace {

// What the validator says; empty when all lines fit.
std::string complaints(const std::string& lines) {
    const harness::Descriptor input(memfd_create("answers", MFD_CLOEXEC));
    EXPECT_EQ(pwrite(input.get(), lines.data(), lines.size(), 0),
              static_cast<ssize_t>(lines.size()));
    harness::ChildOptions options;
    options.arguments = {PYTHON_PROGRAM, CTL_TESTS "/validate.py", CTL_SCHEMA};
    options.standardInput = input.get();
    options.standardOutput = harness::kPipe;
    harness::ChildProcess validator(options);
    const std::string said = validator.read_all();
    const int status = validator.wait().value_or(harness::ExitStatus{-1, 0}).shell_status();
    return status == 0 || !said.empty() ? said
                                        : "the validator ended with " + std::to_string(status);
}

std::vector<std::string> json_call(const CommandCase& one) {
    std::vector<std::string> words = one.arguments;
    words.insert(words.begin(), {"--json", "--yes", "--timeout", one.waits ? "0.2" : "20"});
    return words;
}

// The answers of all commands.
std::string all_answers(const std::vector<std::string>& faults) {
    std::vector<std::string> arguments = {"--clock", "100000"};
    for (const std::string& fault : faults) {
        arguments.insert(arguments.end(), {"--fault", fault});
    }
    const SimulatedServer server(arguments);
    EXPECT_TRUE(server.ready());
    std::string lines;
    for (const CommandCase& one : command_cases()) {
        const Ran ran = run_here(json_call(one));
        EXPECT_TRUE(ran.json().is_object()) << one.command << ": " << ran.output;
        lines += ran.output;
    }
    return lines;
}

TEST(Schema, EveryAnswerFits) {
    EXPECT_EQ(complaints(all_answers({})), "");
}

TEST(Schema, EveryFailureFits) {
    EXPECT_EQ(complaints(all_answers({"error-reply"})), "");
    EXPECT_EQ(complaints(all_answers({"refuse:zrpserv", "truncated:zrp2bks"})), "");
}

TEST(Schema, SpecialAnswersFit) {
    const SimulatedServer server({"--clock", "100000"});
    ASSERT_TRUE(server.ready());
    std::string lines;
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"statistics", "bytesRead", "nope"},
          {"diagnostics", "server"},
          {"exclusions", "--excluded"},
          {"parameters", "LOG_LEVEL", "nope"},
          {"volume", "ENGINEERING_2026"},
          {"volumez"}}) {
        std::vector<std::string> asking = words;
        asking.emplace_back("--json");
        lines += run_zrpctl(asking).output;
    }
    EXPECT_EQ(complaints(lines), "");
}

TEST(Schema, AnAnswerThatDoesNotFitIsFound) {
    for (const char* line : {R"({})", R"({"volumes":[{"number":"0","name":"SYS"}]})",
                             R"({"unknown":1})", R"({"error":{"kind":"refused","message":"m"}})",
                             R"({"error":{"kind":"usage","message":"m","code":1}})"}) {
        EXPECT_NE(complaints(line + std::string("\n")), "") << line;
    }
}

} // namespace
} // namespace zrp::schema_test
