// Commands of the shell, as the Version screen runs them.
#include "screens/shell_command.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/signals.h"
#include "core/status_row.h"
#include "tools/harness/deadline.h"

namespace zrp::shell_command_test {
namespace {

using std::chrono::milliseconds;

// Checks the condition every few milliseconds until it holds. False at the deadline.
template <typename Condition>
bool wait_until(const Condition& condition) {
    const harness::Deadline deadline(harness::kPatience);
    while (!condition()) {
        if (deadline.passed()) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds{2});
    }
    return true;
}

// A temporary folder.
class Folder {
public:
    Folder() : path(std::filesystem::temp_directory_path() / "shell_command_XXXXXX") {
        std::string name = path;
        path = mkdtemp(name.data());
    }
    ~Folder() {
        std::filesystem::remove_all(path);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] std::string operator/(const std::string& name) const {
        return path / name;
    }

private:
    std::filesystem::path path;
};

std::string contents(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ShellCommand, ReturnsTheStatusOfTheCommand) {
    EXPECT_EQ(run_shell_command("true"), 0);
    const int status = run_shell_command("exit 3");
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(WEXITSTATUS(run_shell_command("/nonexistent/program")), 127);
}

TEST(ShellCommand, RunsPipesAndRedirections) {
    const Folder folder;
    const std::string out = folder / "out";
    ASSERT_EQ(run_shell_command(("printf 'a\\nb\\n' | grep b > " + out).c_str()), 0);
    EXPECT_EQ(contents(out), "b\n");
}

TEST(ShellCommand, WritesNothingToTheStreamsOfTheProgram) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    run_shell_command("echo out; echo errors >&2; /nonexistent/program");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ShellCommand, AcceptsAnyAmountOfOutputAndGivesNoInput) {
    EXPECT_EQ(run_shell_command("head -c 1000000 /dev/zero; head -c 1000000 /dev/zero >&2"), 0);
    EXPECT_EQ(run_shell_command("test -z \"$(cat)\""), 0);
}

TEST(ShellCommand, HasNothingOfTheEnvironmentOfTheUser) {
    const Folder folder;
    const std::string out = folder / "environment";
    setenv("ZRP_OF_THE_USER", "1", 1);
    const int status = run_shell_command(("exec /usr/bin/env > " + out).c_str());
    unsetenv("ZRP_OF_THE_USER");
    ASSERT_EQ(status, 0);
    std::string seen = contents(out);
    const std::string ownOfTheShell = "PWD=" + std::filesystem::current_path().string() + "\n";
    const size_t at = seen.find(ownOfTheShell);
    if (at != std::string::npos) {
        seen.erase(at, ownOfTheShell.size());
    }
    EXPECT_EQ(seen, "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nLC_ALL=C\n");
}

TEST(ShellCommand, FindsNoProgramOfTheUser) {
    const Folder folder;
    const std::string program = folder / "uname";
    std::ofstream(program) << "#!/bin/sh\nexit 9\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    const std::string path = getenv("PATH");
    setenv("PATH", (folder / "").c_str(), 1);
    const int status = run_shell_command("uname");
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(status, 0);
}

TEST(ShellCommand, HasNoTerminal) {
    EXPECT_NE(run_shell_command("exec 3</dev/tty"), 0);
}

TEST(ShellCommand, ChangesNoSignalOfTheProgramAndStartsWithAllUnblockedAndDefault) {
    const Folder folder;
    const std::string out = folder / "status";
    std::array<struct sigaction, NSIG> before = {};
    signal(SIGINT, SIG_IGN);
    for (int number = 1; number < NSIG; number++) {
        sigaction(number, nullptr, &before.at(static_cast<size_t>(number)));
    }
    {
        const SignalBlock asOnTheRefreshThread;
        ASSERT_EQ(run_shell_command(("grep ^Sig /proc/self/status > " + out).c_str()), 0);
    }
    for (int number = 1; number < NSIG; number++) {
        struct sigaction now = {};
        sigaction(number, nullptr, &now);
        EXPECT_EQ(now.sa_handler, before.at(static_cast<size_t>(number)).sa_handler) << number;
    }
    const std::string seen = contents(out);
    EXPECT_NE(seen.find("SigBlk:\t0000000000000000"), std::string::npos) << seen;
    // 32 and 33 belong to the C library.
    constexpr uint64_t kOrdinarySignals = 0x7fffffff;
    EXPECT_EQ(std::stoull(seen.substr(seen.find("SigIgn:") + 7), nullptr, 16) & kOrdinarySignals,
              0U)
        << seen;
}

// system() would ignore SIGINT and SIGQUIT meanwhile.
TEST(ShellCommand, DoesNotKeepSignalsFromTheProgramWhileItRuns) {
    static volatile sig_atomic_t arrived = 0;
    const auto previous = signal(SIGINT, [](int) { arrived = 1; });
    ASSERT_EQ(run_shell_command(("kill -INT " + std::to_string(getpid())).c_str()), 0);
    EXPECT_TRUE(wait_until([] { return arrived == 1; }));
    signal(SIGINT, previous);
}

TEST(ShellCommand, WritesThroughNoLinkInPlaceOfItsFile) {
    const Folder folder;
    const std::string victim = folder / "victim";
    const std::string dangling = folder / "dangling";
    const std::string link = folder / "link";
    std::ofstream(victim) << "precious";
    std::filesystem::create_symlink(victim, link);
    EXPECT_NE(run_shell_command(("echo gone > " + link).c_str()), 0);
    EXPECT_EQ(contents(victim), "precious");
    std::filesystem::remove(link);
    std::filesystem::create_symlink(dangling, link);
    EXPECT_NE(run_shell_command(("echo new > " + link).c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(dangling));
    std::filesystem::remove(link);
    std::filesystem::create_hard_link(victim, link);
    EXPECT_NE(run_shell_command(("echo gone > " + link).c_str()), 0);
    EXPECT_EQ(contents(victim), "precious");
}

TEST(ShellCommand, IsKilledAtItsTimeout) {
    const Folder folder;
    const std::string fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& command :
         {"echo nobody reads > " + fifo, std::string("yes; yes"), std::string("sleep 100")}) {
        const int status = run_shell_command(command.c_str(), milliseconds{200});
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << command;
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(ShellCommand, LeavesNoDescriptorAndNoChildBehind) {
    const auto lowest_free = [] {
        const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(fd);
        return fd;
    };
    const int before = lowest_free();
    for (int i = 0; i < 5; i++) {
        run_shell_command("false");
    }
    EXPECT_EQ(lowest_free(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

// Status 0 if the whole pipeline is killed long before its end, and no command starts afterwards.
[[noreturn]] void end_while_running(const std::string& pids) {
    std::thread asker([&pids] {
        wait_until([&pids] { return contents(pids).find('\n') != std::string::npos; });
        request_termination();
    });
    const int status =
        run_shell_command(("sleep 60 | { echo $$ > " + pids + "; sleep 60; }").c_str());
    asker.join();
    const pid_t shell = std::stoi(contents(pids));
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    const bool groupIsGone = wait_until([shell] { return kill(-shell, 0) != 0; });
    const bool refused = run_shell_command("true") == -1;
    _exit(killed && groupIsGone && refused ? 0 : 1);
}

bool main_thread_is_woken() {
    pollfd woken = {signal_fd(), POLLIN, 0};
    return poll(&woken, 1, 0) == 1;
}

[[noreturn]] void hold_up_pass() {
    install_signal_handlers();
    note_start_of_pass();
    const bool isWokenBefore = main_thread_is_woken();
    run_shell_command("sleep 1.3");
    _exit(!isWokenBefore && main_thread_is_woken() ? 0 : 1);
}

TEST(ShellCommandDeathTest, WakesTheMainThreadWhenItHoldsUpThePass) {
    EXPECT_EXIT(hold_up_pass(), testing::ExitedWithCode(0), "");
}

TEST(ShellCommandDeathTest, IsKilledWithAllItsChildrenByARequestToExit) {
    const Folder folder;
    EXPECT_EXIT(end_while_running(folder / "pids"), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace zrp::shell_command_test
