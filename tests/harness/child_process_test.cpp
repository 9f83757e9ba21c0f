#include "tools/harness/child_process.h"

#include <csignal>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

namespace zrp::harness::child_process_test {
namespace {

ChildOptions shell(const std::string& script) {
    return {.arguments = {"sh", "-c", script}, .standardOutput = kPipe};
}

bool is_running(pid_t pid) {
    return kill(pid, 0) == 0;
}

TEST(ChildProcess, ReturnsItsExitStatus) {
    EXPECT_EQ(ChildProcess(shell("exit 3")).wait(), (ExitStatus{3, 0}));
    EXPECT_EQ(ChildProcess(shell("kill -USR1 $$")).wait(), (ExitStatus{0, SIGUSR1}));
    EXPECT_EQ((ExitStatus{0, SIGKILL}).shell_status(), 137);
}

TEST(ChildProcess, ReceivesArgumentsEnvironmentAndDirectory) {
    ChildOptions options = shell("echo \"$1|$ADDED|${HOME-gone}|$(pwd)\"");
    options.arguments.insert(options.arguments.end(), {"sh", "an argument"});
    options.environment = {"ADDED=1", "ADDED=2", "HOME"};
    options.directory = "/usr";
    EXPECT_EQ(ChildProcess(options).read_line(), "an argument|2|gone|/usr");
}

TEST(ChildProcess, ReadsLinesAndTheRest) {
    ChildProcess child(shell("printf 'one\\ntwo\\nrest'"));
    EXPECT_EQ(child.read_line(), "one");
    EXPECT_EQ(child.read_line(), "two");
    EXPECT_EQ(child.read_all(), "rest");
    EXPECT_EQ(child.read_line(), std::nullopt);
}

TEST(ChildProcess, ReadsItsInput) {
    ChildOptions options{.arguments = {"cat"}, .standardInput = kPipe, .standardOutput = kPipe};
    ChildProcess child(options);
    ASSERT_EQ(write(child.input().get(), "x\n", 2), 2);
    EXPECT_EQ(child.read_line(), "x");
    child.input().reset();
    EXPECT_EQ(child.wait(), ExitStatus{});
}

TEST(ChildProcess, AMissingProgramIsAnError) {
    EXPECT_THROW(ChildProcess({.arguments = {"/no/such/program"}}), std::system_error);
    EXPECT_THROW(ChildProcess({.arguments = {}}), std::system_error);
    EXPECT_THROW(ChildProcess({.arguments = {"true"}, .directory = "/no/such"}), std::system_error);
}

TEST(ChildProcess, ReadingEndsAtTheDeadline) {
    ChildProcess child(shell("exec sleep 100"));
    EXPECT_EQ(child.read_line(milliseconds{50}), std::nullopt);
    EXPECT_EQ(child.wait(milliseconds{50}), std::nullopt);
}

TEST(ChildProcess, IsTerminatedAndKilledIfItIgnoresThat) {
    ChildProcess obedient(shell("exec sleep 100"));
    EXPECT_EQ(obedient.terminate(), (ExitStatus{0, SIGTERM}));
    ChildProcess ignoring(shell("trap '' TERM; echo ready; while :; do sleep 1; done"));
    ASSERT_EQ(ignoring.read_line(), "ready");
    EXPECT_EQ(ignoring.terminate(milliseconds{100}), (ExitStatus{0, SIGKILL}));
}

TEST(ChildProcess, EndsWithItsOwner) {
    pid_t pid = 0;
    {
        const ChildProcess child(shell("exec sleep 100"));
        pid = child.pid();
        EXPECT_TRUE(is_running(pid));
    }
    EXPECT_FALSE(is_running(pid));
}

TEST(ChildProcess, EndsWhenItsOwnerIsKilled) {
    // Here a thread is the owner: the kernel watches the thread that started the child.
    ChildProcess child;
    std::thread([&] { child = ChildProcess(shell("exec sleep 100")); }).join();
    EXPECT_EQ(child.wait(), (ExitStatus{0, SIGKILL}));
}

TEST(ChildProcess, StartsWithFreshSignals) {
    signal(SIGUSR1, SIG_IGN);
    sigset_t usr2;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &usr2, nullptr);
    ChildProcess child(shell("grep -E 'Sig(Blk|Ign)' /proc/self/status | cut -f2"));
    EXPECT_EQ(child.read_all(), "0000000000000000\n0000000000000000\n");
    pthread_sigmask(SIG_UNBLOCK, &usr2, nullptr);
    signal(SIGUSR1, SIG_DFL);
}

TEST(ChildProcess, InheritsNoDescriptor) {
    const int inheritable = dup(1); // not close-on-exec
    ChildOptions options = shell("echo up; read line");
    options.standardInput = kPipe;
    ChildProcess child(options);
    ASSERT_EQ(child.read_line(), "up");
    const std::filesystem::path open = "/proc/" + std::to_string(child.pid()) + "/fd";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(open), {}), 3);
    close(inheritable);
}

TEST(ChildProcess, MovesWithItsProcess) {
    ChildProcess first(shell("read line; exit 5"));
    ChildProcess second(std::move(first));
    EXPECT_EQ(second.terminate(), second.wait());
    second = ChildProcess(shell("exit 6"));
    EXPECT_EQ(second.wait(), (ExitStatus{6, 0}));
}

} // namespace
} // namespace zrp::harness::child_process_test
