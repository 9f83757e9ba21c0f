#include <algorithm>
#include <csignal>

#include "tests/demo/piped.h"
#include "tools/harness/process_state.h"
#include "tools/harness/terminal.h"

namespace zrp::zrpdemo_test {
namespace {

using harness::Key;
using harness::Terminal;

bool all_have_ended(const std::vector<pid_t>& processes) {
    return std::all_of(processes.begin(), processes.end(), harness::has_ended);
}

// The demonstration on a terminal, from its first up time on.
struct Live {
    Live() : terminal({.child = {.arguments = {ZRPDEMO_PROGRAM}}}) {
        isUp = terminal.wait_until(
            [&] { return terminal.row(3).find(" Second") != std::string::npos; });
        processes = harness::children_of(terminal.child().pid());
    }

    Terminal terminal;
    bool isUp = false;
    std::vector<pid_t> processes; // of the demonstration
};

// What is printed between a caption and the next one.
std::string screen_of(const std::string& printed, const std::string& caption) {
    const size_t start = printed.find("--- " + caption + " (80x25)\n");
    return start == std::string::npos
               ? ""
               : printed.substr(start, printed.find("\n--- ", start) - start);
}

struct ExpectedScreen {
    const char* caption;
    std::vector<const char*> texts;
};

TEST_F(Demo, WithoutATerminalItPrintsScreensAndDialogsAsText) {
    const Piped demo;
    ASSERT_EQ(demo.status, ExitStatus{}) << demo.printed;
    EXPECT_TRUE(demo.printed.starts_with("--- General (80x25)\n[F12] Exit [F2] General"))
        << demo.printed;
    const ExpectedScreen screens[] = {
        {"General", {"zrpRequests: ", "fileLockCount: "}},
        {"Volume dialog", {"0. SYS", "Enter volume number ["}},
        {"Volume", {"Volume: SYS", "trustee count:  "}},
        {"Connection dialog", {"1. ", "Enter connection number ["}},
        {"Connection", {"Connection:  (3) ", "Open files:  "}},
        {"Diagnostics dialog", {"1 - Directory Cache", "Enter selection ?"}},
        {"Diagnostics", {"ZRP Server IPC/RPC", "ipcListener errors: "}},
        {"Parameters", {"MAXIMUM_CACHED_FILES_PER_VOLUME = "}},
        {"Version", {"[libzrpengine] ", "[zrptop] "}},
    };
    for (const ExpectedScreen& expected : screens) {
        const std::string shown = screen_of(demo.printed, expected.caption);
        EXPECT_NE(shown.find("Server Up Time: 3 Days"), std::string::npos) << expected.caption;
        for (const char* text : expected.texts) {
            EXPECT_NE(shown.find(text), std::string::npos) << expected.caption << ": " << text;
        }
    }
    EXPECT_FALSE(demo.has("\x1b")) << demo.printed;
    EXPECT_FALSE(demo.has(" \n")) << demo.printed;
}

TEST_F(Demo, AnEmptyServerWithAStoppedClockIsShown) {
    const Piped demo({"--", "--clock", "7", "--volumes", "1", "--connections", "0"});
    EXPECT_EQ(demo.status, ExitStatus{}) << demo.printed;
    EXPECT_TRUE(demo.has("--- Version (80x25)\n")) << demo.printed;
}

TEST_F(Demo, WithoutATerminalItTakesTheSizeOfAnOption) {
    const Piped demo({"--size", "100x40"});
    ASSERT_EQ(demo.status, ExitStatus{}) << demo.printed;
    EXPECT_TRUE(demo.has("--- General (100x40)\n")) << demo.printed;
}

TEST_F(Demo, AWrongSizeIsReported) {
    for (const char* size : {"100", "0x25", "80x", "80x25x1", "80x5000"}) {
        const Piped demo({"--size", size});
        EXPECT_EQ(demo.status, (ExitStatus{1, 0})) << size;
        EXPECT_TRUE(demo.has(std::string("not a size: ") + size)) << demo.printed;
    }
}

TEST_F(Demo, AServerThatDoesNotStartIsReported) {
    const Piped demo({"--", "--no-such-option"});
    EXPECT_EQ(demo.status, (ExitStatus{1, 0}));
    EXPECT_TRUE(demo.has("the simulated server ended with exit status 1:\n")) << demo.printed;
    EXPECT_TRUE(demo.has("--no-such-option")) << demo.printed;
}

TEST_F(Demo, AMonitorThatDoesNotStartIsReported) {
    const Piped demo({"--zrptop", "false"});
    EXPECT_EQ(demo.status, (ExitStatus{1, 0}));
    EXPECT_TRUE(demo.has("the scene \"General\" did not come up (it ended with exit status 1)"))
        << demo.printed;
}

TEST_F(Demo, ATerminalThatIsTooSmallIsReported) {
    const Piped demo({"--size", "80x24"});
    EXPECT_EQ(demo.status, (ExitStatus{1, 0}));
    EXPECT_TRUE(demo.has("not enough lines")) << demo.printed;
}

TEST_F(Demo, WithATerminalTheMonitorRunsOnIt) {
    Live live;
    ASSERT_TRUE(live.isUp) << live.terminal.text();
    EXPECT_EQ(live.processes.size(), 2U); // server and monitor
    live.terminal.press(Key::kF12);
    EXPECT_EQ(live.terminal.wait_for_exit(), ExitStatus{}) << live.terminal.text();
    EXPECT_FALSE(live.terminal.screen().alternate_screen());
    EXPECT_TRUE(all_have_ended(live.processes));
}

TEST_F(Demo, TheShellRunsCommandsOfStandardInput) {
    ChildProcess demo(
        {.arguments = {"sh", "-c",
                       "echo 'zrpctl mount BACKUP --yes --json; exit 7' | \"$0\" --shell",
                       ZRPDEMO_PROGRAM},
         .standardInput = harness::kNull,
         .standardOutput = harness::kPipe});
    const std::string printed = demo.read_all(kDemoPatience);
    EXPECT_EQ(demo.wait(), (ExitStatus{7, 0}));
    EXPECT_NE(printed.find("\"name\":\"BACKUP\",\"mounted\":true"), std::string::npos) << printed;
}

TEST_F(Demo, TheShellWorksOnATerminal) {
    harness::Terminal terminal({.child = {.arguments = {ZRPDEMO_PROGRAM, "--shell"}}});
    ASSERT_TRUE(terminal.wait_for("zrp$")) << terminal.text();
    terminal.type("zrpctl remove HOME\r");
    ASSERT_TRUE(terminal.wait_for("Remove volume HOME")) << terminal.text();
    terminal.type("\x03");
    ASSERT_TRUE(terminal.wait_for("interrupted")) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_rest()) << terminal.text();
    terminal.type("echo status $?\r");
    EXPECT_TRUE(terminal.wait_for("status 130")) << terminal.text();
    terminal.type("exit\r");
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{}) << terminal.text();
}

TEST_F(Demo, CtrlCEndsItCleanly) {
    Live live;
    ASSERT_TRUE(live.isUp) << live.terminal.text();
    live.terminal.type("\x03");
    EXPECT_EQ(live.terminal.wait_for_exit(), ExitStatus{}) << live.terminal.text();
    EXPECT_FALSE(live.terminal.screen().alternate_screen());
    EXPECT_TRUE(all_have_ended(live.processes));
}

TEST_F(Demo, ASignalIsPassedOnToTheMonitor) {
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
        Live live;
        ASSERT_TRUE(live.isUp) << live.terminal.text();
        live.terminal.child().send_signal(signal);
        EXPECT_EQ(live.terminal.wait_for_exit(), ExitStatus{}) << live.terminal.text();
        EXPECT_FALSE(live.terminal.screen().alternate_screen());
        EXPECT_TRUE(all_have_ended(live.processes));
    }
}

TEST_F(Demo, ALostTerminalEndsIt) {
    Live live;
    ASSERT_TRUE(live.isUp) << live.terminal.text();
    live.terminal.hang_up();
    EXPECT_TRUE(live.terminal.wait_for_exit());
    EXPECT_TRUE(all_have_ended(live.processes));
}

TEST_F(Demo, KillingItLeavesNothingRunning) {
    Live live;
    ASSERT_TRUE(live.isUp) << live.terminal.text();
    ASSERT_EQ(live.processes.size(), 2U);
    live.terminal.child().send_signal(SIGKILL);
    EXPECT_TRUE(live.terminal.wait_until([&] { return all_have_ended(live.processes); }));
}

} // namespace
} // namespace zrp::zrpdemo_test
