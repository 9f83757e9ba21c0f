// The command line: what is refused before anything is asked, and how it is said.
#include "ctl/arguments.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/failure.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/support/simulated_server.h"

namespace zrp::arguments_test {
namespace {

using Line = std::vector<const char*>;

// What is wrong with a line; empty for one that is accepted.
std::string complaint(const Line& line) {
    try {
        (void)ctl::read_command_line(line);
    } catch (const ctl::Failure& failure) {
        EXPECT_EQ(failure.kind, ctl::Kind::kUsage);
        return failure.message;
    }
    return "";
}

TEST(CommandLine, OptionsStandBeforeOrAfterTheCommand) {
    for (const Line& line : {Line{"--json", "--timeout", "2.5", "volume", "A"},
                             Line{"volume", "--json", "A", "--timeout=2.5"}}) {
        const ctl::Invocation invocation = ctl::read_command_line(line);
        EXPECT_TRUE(invocation.options.json);
        EXPECT_EQ(invocation.options.timeout, ctl::milliseconds(2500));
        EXPECT_STREQ(invocation.command->name, "volume");
        EXPECT_EQ(invocation.arguments.text("NAME"), "A");
    }
}

TEST(CommandLine, OneArgumentIsOneName) {
    for (const char* name : {"A&B", "VOLUME", "&&&&&&&&&&&&&&&", "a b", "A,B", "[A,B]", "status",
                             "{}", "'A'", "\"A\"", "a;b", "A=1"}) {
        EXPECT_EQ(ctl::read_command_line(Line{"volume", name}).arguments.text("NAME"), name);
    }
    const ctl::Invocation many = ctl::read_command_line(Line{"statistics", "[a,b]", "c d", "help"});
    EXPECT_EQ(many.arguments.list("NAME"), (std::vector<std::string>{"[a,b]", "c d", "help"}));
}

TEST(CommandLine, ANameAfterTwoHyphensMayLookLikeAnOption) {
    EXPECT_EQ(ctl::read_command_line(Line{"volume", "--", "--json"}).arguments.text("NAME"),
              "--json");
}

TEST(CommandLine, TheNumberOfAWatchStandsInTheSameWord) {
    EXPECT_EQ(ctl::read_command_line(Line{"--watch", "volumes"}).options.watch,
              ctl::milliseconds(2000));
    EXPECT_EQ(ctl::read_command_line(Line{"volumes", "--watch=0.1"}).options.watch,
              ctl::milliseconds(100));
    EXPECT_EQ(complaint({"volumes", "--watch=0.05"}),
              "--watch \"0.05\" is not a number of seconds from 0.1 to 86400");
}

TEST(CommandLine, RefusesTimeLimits) {
    for (const char* limit : {"0", "0.001", "86401", "-1", "1e1", "1,5", "x", "", "1 ", "nan"}) {
        EXPECT_EQ(complaint({"status", "--timeout", limit}),
                  "--timeout \"" + std::string(limit) +
                      "\" is not a number of seconds from 0.01 to 86400");
    }
}

TEST(CommandLine, NumbersAreDecimalAndNothingFollows) {
    EXPECT_EQ(ctl::read_command_line(Line{"connection", "010"}).arguments.number("N"), 10);
    for (const char* number : {"0", "2147483648", "-1", "4x", "0x4", "", " 4", "4 ", "+4", "4.0"}) {
        const std::string shown = *number == '\0' ? "" : " \"" + std::string(number) + '"';
        EXPECT_EQ(complaint({"connection", number}),
                  "N" + shown + " is not a number from 1 to 2147483647");
    }
}

TEST(CommandLine, NamesHaveLimitsInBytes) {
    EXPECT_EQ(complaint({"volume", "1234567890123456"}), "");
    EXPECT_EQ(complaint({"volume", "12345678901234567"}),
              "NAME \"12345678901234567\" is longer than 16 bytes");
    EXPECT_EQ(complaint({"mount-point", "1234567890123456"}),
              "NAME \"1234567890123456\" is longer than 15 bytes");
    EXPECT_EQ(complaint({"volume", ""}), "NAME is empty");
}

TEST(CommandLine, SuggestsTheNearestCommand) {
    EXPECT_EQ(complaint({"volumez"}), "unknown command \"volumez\"; did you mean \"volumes\"?");
    EXPECT_EQ(complaint({"cluster", "server"}),
              "unknown command \"cluster server\"; did you mean \"cluster servers\"?");
    EXPECT_EQ(complaint({"xyzzyplugh"}), "unknown command \"xyzzyplugh\"");
    EXPECT_EQ(complaint({}), "a command is missing; try zrpctl --help");
    EXPECT_EQ(complaint({"wait"}), "wait needs one more word; try zrpctl --help");
    EXPECT_EQ(complaint({"volumes", "--bad"}), "unknown option --bad");
    EXPECT_EQ(complaint({"volumes", "extra"}), "unexpected argument \"extra\"");
    EXPECT_EQ(complaint({"connections", "--sort", "color"}),
              "--sort \"color\" is none of: number, name, loginTime, zrpRequests, bytesRead, "
              "bytesWritten");
}

TEST(CommandLine, HelpSuggestsTheNearestCommandToo) {
    const Ran ran = run_zrpctl({"help", "cluster", "server"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.errors,
              "zrpctl: unknown command \"cluster server\"; did you mean \"cluster servers\"?\n");
}

TEST(CommandLine, ACommandThatIsRepeatedIsReadOnly) {
    EXPECT_EQ(complaint({"statistics", "--watch", "--rate"}), "");
}

TEST(CommandLine, AnErrorOfTheLineIsAnObjectToo) {
    const Ran ran = run_zrpctl({"volumez", "--json"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.output, "{\"error\":{\"kind\":\"usage\",\"message\":\"unknown command "
                          "\\\"volumez\\\"; did you mean \\\"volumes\\\"?\"}}\n");
    EXPECT_EQ(ran.errors, "zrpctl: unknown command \"volumez\"; did you mean \"volumes\"?\n");
}

TEST(CommandLine, HelpAndVersionNeedNoServer) {
    const Ran help = run_zrpctl({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const ctl::Command& command : ctl::commands()) {
        EXPECT_NE(help.output.find(std::string("  ") + command.name + ' '), std::string::npos)
            << command.name;
    }
    for (const ctl::ExitStatus& row : ctl::exit_statuses()) {
        EXPECT_NE(help.output.find(row.meaning), std::string::npos) << row.status;
    }
    const Ran version = run_zrpctl({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.output.starts_with("zrpctl ")) << version.output;
}

} // namespace
} // namespace zrp::arguments_test
