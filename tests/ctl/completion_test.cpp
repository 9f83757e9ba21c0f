// Completion, in the real shells.
#include "ctl/completion.h"

#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ctl/command.h"
#include "tests/ctl/run_here.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/support/simulated_server.h"
#include "tools/harness/deadline.h"
#include "tools/harness/terminal.h"

namespace zrp::completion_test {
namespace {

#define NEEDS_SHELL(program)                                                                       \
    if (access(program, X_OK) != 0) {                                                              \
        GTEST_SKIP() << program << " is not installed";                                            \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

std::string completed(std::vector<std::string> words) {
    words.insert(words.begin(), "--complete");
    const Ran ran = run_zrpctl(words);
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.errors, "");
    return ran.output;
}

std::string completed_here(const std::vector<std::string>& words) {
    return ctl::completions(as_line(words));
}

TEST(Completion, OffersEveryCommandAndItsOptions) {
    for (const ctl::Command& command : ctl::commands()) {
        const std::string name = command.name;
        const size_t blank = name.find(' ');
        std::vector<std::string> words = {name.substr(0, blank)};
        EXPECT_NE(completed_here(words).find(words.back() + '\n'), std::string::npos) << name;
        if (blank != name.npos) {
            words.push_back(name.substr(blank + 1));
            EXPECT_NE(completed_here(words).find(words.back() + '\n'), std::string::npos) << name;
        }
        words.emplace_back("--");
        const std::string options = '\n' + completed_here(words);
        EXPECT_NE(options.find("\n--json\n"), std::string::npos) << name;
        for (const ctl::Argument& argument : command.arguments) {
            const bool isOption = std::string_view(argument.name).starts_with("--");
            EXPECT_EQ(options.find('\n' + std::string(argument.name) + '\n') != options.npos,
                      isOption)
                << name << ' ' << argument.name;
        }
    }
}

TEST(Completion, OffersWordsOfArguments) {
    EXPECT_EQ(completed({"log-level", "d"}), "DEBUG\nDUMP\n");
    EXPECT_EQ(completed({"create", "NEW", "/srv", "--attribute", "h"}), "hidden\n");
    EXPECT_EQ(completed({"--timeout", ""}), "");
    EXPECT_EQ(completed({"nope", "x"}), "");
}

TEST(Completion, NamesComeFromTheServer) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(completed({"mount", "BACK"}), "BACKUP\n");
    EXPECT_EQ(completed({"set", "FIRST_W"}), "FIRST_WATCHDOG_PACKET\n");
}

TEST(Completion, ASilentServerIsGivenUpWithinASecond) {
    const SimulatedServer server({"--fault", "hang"});
    ASSERT_TRUE(server.ready());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(completed({"mount", ""}), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(completed({"mou"}), "mount\nmount-point\n");
}

// Types into a shell in which zrpctl is the real one, and waits for what it makes of it.
void expect_completed(std::vector<std::string> shell, const std::string& setUp) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const std::string program = ZRPCTL_PROGRAM;
    const std::string path = program.substr(0, program.rfind('/')) + ":/usr/bin:/bin";
    harness::Terminal terminal(
        {.rows = 24,
         .columns = 200,
         .child = {.arguments = std::move(shell),
                   .environment = {"PATH=" + path, "HOME=/nonexistent", "LANG=C.UTF-8"}}});
    ASSERT_TRUE(terminal.wait_for_rest()) << terminal.text();
    terminal.type(setUp + "; echo ready''now\r");
    ASSERT_TRUE(terminal.wait_for("readynow")) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_rest()) << terminal.text();
    terminal.type("zrpctl dismount BACK\t");
    EXPECT_TRUE(terminal.wait_for("zrpctl dismount BACKUP")) << terminal.text();
    terminal.type("--dry-r\t");
    EXPECT_TRUE(terminal.wait_for("zrpctl dismount BACKUP --dry-run")) << terminal.text();
    constexpr const char* kEraseLine = "\x15";
    terminal.type(std::string(kEraseLine) + "zrpctl wait v\t");
    EXPECT_TRUE(terminal.wait_for("zrpctl wait volume")) << terminal.text();
    terminal.type(std::string(kEraseLine) + "zrpctl metrics --textfile " SHELL_FILES
                                            "/zrpctl.ba\t");
    EXPECT_TRUE(terminal.wait_for(SHELL_FILES "/zrpctl.bash")) << terminal.text();
}

TEST(Completion, WorksInBash) {
    NEEDS_SHELL("/usr/bin/bash");
    expect_completed({"/usr/bin/bash", "--norc", "--noprofile"},
                     "source " SHELL_FILES "/zrpctl.bash");
}

TEST(Completion, WorksInZsh) {
    NEEDS_SHELL("/usr/bin/zsh");
    expect_completed({"/usr/bin/zsh", "-f"},
                     "fpath=(" SHELL_FILES " $fpath); autoload -U compinit; compinit -u -D");
}

TEST(Completion, WorksInFish) {
    NEEDS_SHELL("/usr/bin/fish");
    expect_completed({"/usr/bin/fish", "--no-config"}, "source " SHELL_FILES "/zrpctl.fish");
}

} // namespace
} // namespace zrp::completion_test
