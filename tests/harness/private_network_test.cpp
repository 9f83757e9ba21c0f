#include "tools/harness/private_network.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/transport.h"
#include "tests/support/needs.h"
#include "tests/support/scripted_peer.h"
#include "tools/harness/child_process.h"

namespace zrp::private_network_test {
namespace {

using harness::ChildOptions;
using harness::ChildProcess;
using harness::ExitStatus;

// A program that enters the network and listens on the main daemon's name until it is released.
struct Probe {
    explicit Probe(std::vector<std::string> environment = {}, std::vector<std::string> wrapper = {},
                   harness::milliseconds lockPatience = harness::kPatience) {
        ChildOptions options;
        options.arguments = std::move(wrapper);
        options.arguments.insert(options.arguments.end(), {NETWORK_PROBE_PROGRAM, kMainDaemonSocket,
                                                           std::to_string(lockPatience.count())});
        options.environment = std::move(environment);
        options.standardInput = harness::kPipe;
        options.standardOutput = harness::kPipe;
        child = ChildProcess(options);
    }

    std::string next() {
        return child.read_line().value_or("(end)");
    }

    ExitStatus release() {
        child.input().reset();
        return child.wait().value_or(ExitStatus{-1, 0});
    }

    ChildProcess child;
};

const std::vector<std::string> kNoNamespaces = {"ZRP_NO_NAMESPACES=1"};
const std::string kFallback =
    "shared root: private namespaces are not permitted (ZRP_NO_NAMESPACES is set)";

TEST(PrivateNetwork, GivesEachProgramItsOwnNames) {
    ZRP_NEEDS_NAMESPACES();
    Probe one;
    Probe two;
    EXPECT_EQ(one.next(), "private root: ");
    EXPECT_EQ(two.next(), "private root: ");
    EXPECT_EQ(one.next(), "listening");
    EXPECT_EQ(two.next(), "listening");
}

// The probe where every user may run it, even if the build is in root's home.
struct PublicCopy {
    PublicCopy() {
        std::string folder = std::filesystem::temp_directory_path() / "network_probe.XXXXXX";
        path = mkdtemp(folder.data());
        std::filesystem::permissions(path, std::filesystem::perms{0755});
        std::filesystem::copy(NETWORK_PROBE_PROGRAM, program());
    }
    PublicCopy(const PublicCopy&) = delete;
    PublicCopy& operator=(const PublicCopy&) = delete;
    ~PublicCopy() {
        std::filesystem::remove_all(path);
    }

    [[nodiscard]] std::string program() const {
        return path / "network_probe";
    }

    std::filesystem::path path;
};

TEST(PrivateNetwork, NeedsNoRoot) {
    ZRP_NEEDS_NAMESPACES();
    const PublicCopy copy;
    ChildProcess probe({.arguments = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                                      copy.program(), kMainDaemonSocket},
                        .standardInput = harness::kPipe,
                        .standardOutput = harness::kPipe});
    const std::string said = probe.read_line().value_or("");
    if (said.empty()) {
        GTEST_SKIP() << "this process may not become another user";
    }
    if (said.starts_with("shared user: private namespaces are not permitted")) {
        GTEST_SKIP() << "this machine permits no namespaces to ordinary users";
    }
    EXPECT_EQ(said, "private root: ");
    EXPECT_EQ(probe.read_line(), "listening");
}

// Whether a process is connected to the lock: it then has two sockets with the name.
bool is_lock_waited_for() {
    std::ifstream table("/proc/net/unix");
    int sockets = 0;
    for (std::string line; std::getline(table, line);) {
        sockets += line.ends_with("@" + std::string(harness::kNetworkLock)) ? 1 : 0;
    }
    return sockets == 2;
}

bool wait_until_lock_is_waited_for() {
    const harness::Deadline deadline(harness::kPatience);
    while (!is_lock_waited_for()) {
        if (deadline.passed()) {
            return false;
        }
        std::this_thread::sleep_for(harness::milliseconds{5});
    }
    return true;
}

TEST(PrivateNetwork, WithoutNamespacesOneProgramWaitsForAnother) {
    ZRP_NEEDS_NAMESPACES(); // otherwise this process itself holds the lock
    Probe one(kNoNamespaces);
    EXPECT_EQ(one.next(), kFallback);
    EXPECT_EQ(one.next(), "listening");
    Probe two(kNoNamespaces);
    ASSERT_TRUE(wait_until_lock_is_waited_for());
    EXPECT_EQ(two.child.read_line(harness::milliseconds{0}), std::nullopt);
    EXPECT_EQ(one.release(), ExitStatus{});
    EXPECT_EQ(two.next(), kFallback);
    EXPECT_EQ(two.next(), "listening");
}

TEST(PrivateNetwork, AKilledHolderReleasesTheLock) {
    ZRP_NEEDS_NAMESPACES();
    Probe one(kNoNamespaces);
    EXPECT_EQ(one.next(), kFallback);
    Probe two(kNoNamespaces);
    ASSERT_TRUE(wait_until_lock_is_waited_for());
    one.child.send_signal(SIGKILL);
    EXPECT_EQ(two.next(), kFallback);
}

TEST(PrivateNetwork, WaitingForTheLockEndsAtTheDeadline) {
    ZRP_NEEDS_NAMESPACES();
    Probe one(kNoNamespaces);
    EXPECT_EQ(one.next(), kFallback);
    Probe two(kNoNamespaces, {}, harness::milliseconds{300});
    EXPECT_NE(two.next().find("refused root: "), std::string::npos);
    EXPECT_EQ(two.release(), (ExitStatus{1, 0}));
}

void expect_refusal_beside(const std::string& name) {
    const ScriptedPeer server(name, {{read_request()}});
    Probe probe(kNoNamespaces);
    const std::string said = probe.next();
    EXPECT_EQ(said.find("refused"), 0U) << said;
    EXPECT_NE(said.find('"' + name + '"'), std::string::npos) << said;
    EXPECT_EQ(probe.release(), (ExitStatus{1, 0}));
    EXPECT_EQ(server.connections(), 0U);
}

TEST(PrivateNetwork, WithoutNamespacesARunningServerIsNotTouched) {
    ZRP_NEEDS_NAMESPACES();
    expect_refusal_beside(kMainDaemonSocket);
    expect_refusal_beside(kStorageDaemonSocket);
    expect_refusal_beside(kManagementSocket);
}

TEST(PrivateNetwork, AForbiddenUnshareLeadsToTheFallback) {
    ZRP_NEEDS_NAMESPACES();
    Probe probe({}, {WITHOUT_NAMESPACES_PROGRAM});
    EXPECT_EQ(probe.next(),
              "shared root: private namespaces are not permitted (Operation not permitted)");
    EXPECT_EQ(probe.next(), "listening");
}

TEST(PrivateNetwork, TestsExplainTheFallbackAndReportWhatTheySkip) {
    ZRP_NEEDS_NAMESPACES();
    ChildProcess tests({.arguments = {WITHOUT_NAMESPACES_PROGRAM, FALLBACK_SAMPLE_PROGRAM},
                        .standardOutput = harness::kPipe});
    const std::string said = tests.read_all();
    EXPECT_EQ(tests.wait(), ExitStatus{});
    for (const char* text :
         {"Using the machine's own network, one test at a time: private namespaces",
          "[       OK ] Sample.RunsWithoutNamespaces", "needs namespaces: private namespaces",
          "[  PASSED  ] 2 tests.", "[  SKIPPED ] 1 test"}) {
        EXPECT_NE(said.find(text), std::string::npos) << text << "\nin\n" << said;
    }
}

TEST(PrivateNetwork, NoTestRunsBesideARunningServer) {
    ZRP_NEEDS_NAMESPACES();
    const ScriptedPeer server(kManagementSocket, {{read_request()}});
    ChildProcess tests({.arguments = {WITHOUT_NAMESPACES_PROGRAM, FALLBACK_SAMPLE_PROGRAM},
                        .standardOutput = harness::kPipe});
    const std::string said = tests.read_all();
    EXPECT_EQ(tests.wait(), (ExitStatus{1, 0}));
    EXPECT_EQ(said.find("No test is run: "), 0U) << said;
}

} // namespace
} // namespace zrp::private_network_test
