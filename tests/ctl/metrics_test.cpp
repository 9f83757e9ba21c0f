// Metrics for Prometheus, printed or in a file.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/support/needs.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::metrics_test {
namespace {

namespace fs = std::filesystem;

std::string text_in(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Metrics : public testing::Test {
protected:
    Metrics() {
        std::string name = fs::temp_directory_path() / "metrics_test_XXXXXX";
        folder_ = mkdtemp(name.data()) == nullptr ? "" : name;
    }
    ~Metrics() override {
        fs::remove_all(folder_);
    }
    void SetUp() override {
        ASSERT_FALSE(folder_.empty());
    }

    [[nodiscard]] std::string path(const std::string& name = "zrp.prom") const {
        return folder_ / name;
    }

    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

private:
    fs::path folder_;
};

constexpr const char* kServerUp = "zrp_up{daemon=\"server\"} 1\n";
constexpr const char* kServerDown = "zrp_up{daemon=\"server\"} 0\n";

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(Metrics, ArePrintedWithoutAFile) {
    const SimulatedServer server({"--clock", "100000"});
    ASSERT_TRUE(server.ready());
    const Ran ran = run_zrpctl({"metrics"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_TRUE(holds(ran.output, kServerUp)) << ran.output;
    EXPECT_TRUE(holds(ran.output, "zrp_server_uptime_seconds 100000\n")) << ran.output;
    const std::string text = run_zrpctl({"metrics", "--json"}).json()["metrics"];
    EXPECT_TRUE(holds(text, kServerUp)) << text;
}

TEST_F(Metrics, ReplaceTheFileAndSayNothing) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    std::ofstream(path()) << "old";
    const Ran ran = run_zrpctl({"metrics", "--textfile", path()});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output + ran.errors, "");
    EXPECT_TRUE(holds(text_in(path()), kServerUp));
    EXPECT_EQ(names(), std::vector<std::string>{"zrp.prom"});
    struct stat status = {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0644});
    EXPECT_EQ(run_zrpctl({"metrics", "--textfile", path(), "--json"}).output, "{\"done\":true}\n");
}

TEST_F(Metrics, AServerThatIsDownIsASuccess) {
    ZRP_NEEDS_NAMESPACES();
    const Ran ran = run_zrpctl({"metrics", "--textfile", path()});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output + ran.errors, "");
    EXPECT_TRUE(holds(text_in(path()), kServerDown));
    const Ran verbose = run_zrpctl({"metrics", "--verbose"});
    EXPECT_TRUE(holds(verbose.output, kServerDown));
    EXPECT_TRUE(holds(verbose.errors, "zrpctl: server: does not answer\n")) << verbose.errors;
}

TEST_F(Metrics, ALinkIsReplacedAndNotFollowed) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    std::ofstream(path("target")) << "precious";
    fs::create_symlink(path("target"), path());
    EXPECT_EQ(run_zrpctl({"metrics", "--textfile", path()}).status, 0);
    EXPECT_EQ(text_in(path("target")), "precious");
    EXPECT_FALSE(fs::is_symlink(path()));
    EXPECT_TRUE(holds(text_in(path()), kServerUp));
}

TEST_F(Metrics, ANameThatCannotBeWrittenIsAUsageErrorBeforeAnythingIsAsked) {
    const ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    std::ofstream(path("file")) << "text";
    for (const std::string& name : {path("none/zrp.prom"), path("file/zrp.prom")}) {
        const Ran ran = run_zrpctl({"metrics", "--textfile", name, "--json"});
        EXPECT_EQ(ran.status, 2) << name;
        EXPECT_EQ(ran.json()["error"]["kind"], "usage");
        EXPECT_TRUE(holds(ran.errors, "--textfile \"" + name + "\" cannot be written: "))
            << ran.errors;
    }
    EXPECT_EQ(peer.connections(), 0U);
    EXPECT_EQ(run_zrpctl({"metrics", "--textfile", ""}).status, 2);
}

TEST_F(Metrics, AFolderInPlaceOfTheFileStays) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    fs::create_directory(path());
    EXPECT_EQ(run_zrpctl({"metrics", "--textfile", path()}).status, 2);
    EXPECT_TRUE(fs::is_directory(path()));
    EXPECT_EQ(names(), std::vector<std::string>{"zrp.prom"});
}

TEST_F(Metrics, ADiskThatIsFullLeavesTheOldFile) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    std::ofstream(path()) << "old";
    harness::ChildOptions options;
    options.arguments = {"/bin/sh", "-c",
                         "trap '' XFSZ; ulimit -f 8; exec \"$0\" metrics --textfile \"$1\"",
                         ZRPCTL_PROGRAM, path()};
    options.standardOutput = harness::kPipe;
    options.standardErrors = harness::kNull;
    harness::ChildProcess child(options);
    EXPECT_EQ(child.read_all(), "");
    EXPECT_EQ(child.wait(), (harness::ExitStatus{6, 0}));
    EXPECT_EQ(text_in(path()), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"zrp.prom"});
}

TEST_F(Metrics, TheTimeLimitHoldsForAll) {
    const SimulatedServer server({"--fault", "hang"});
    ASSERT_TRUE(server.ready());
    const auto start = std::chrono::steady_clock::now();
    const Ran ran = run_zrpctl({"metrics", "--timeout", "0.2"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(ran.status, 0);
    EXPECT_TRUE(holds(ran.output, kServerDown)) << ran.output;
}

TEST_F(Metrics, CtrlCLeavesTheOldFile) {
    ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    std::ofstream(path()) << "old";
    harness::ChildOptions options;
    options.arguments = {ZRPCTL_PROGRAM, "metrics", "--textfile", path()};
    options.standardErrors = harness::kNull;
    harness::ChildProcess child(options);
    ASSERT_TRUE(peer.wait_for_connections(1));
    child.send_signal(SIGINT);
    EXPECT_EQ(child.wait(), (harness::ExitStatus{130, 0}));
    EXPECT_EQ(text_in(path()), "old");
}

TEST_F(Metrics, WhatCouldTurnTheLineIsReplaced) {
    const std::string name = "A\xe2\x80\xae"
                             "B";
    const ScriptedPeer peer(
        kMainDaemonSocket,
        {{read_request(),
          send_bytes(reply("<zrpConsoleReply><serverStatistics><parm><name>" + name +
                           "</name><value type=\"unsignedInt\">1</value></parm>"
                           "</serverStatistics></zrpConsoleReply>"))}});
    const Ran ran = run_zrpctl({"metrics", "--timeout", "2"});
    EXPECT_TRUE(holds(ran.output, "{name=\"A\xef\xbf\xbd"
                                  "B\"} 1\n"))
        << ran.output;
}

} // namespace
} // namespace zrp::metrics_test
