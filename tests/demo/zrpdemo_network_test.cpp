#include "common/transport.h"
#include "tests/support/needs.h"
#include "tests/support/scripted_peer.h"
#include "tools/harness/child_process.h"

namespace zrp::zrpdemo_network_test {
namespace {

using harness::ChildProcess;
using harness::ExitStatus;

constexpr harness::milliseconds kDemoPatience{240000};

struct Result {
    std::string printed;
    std::optional<ExitStatus> status;
};

Result run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"sh", "-c", "exec \"$@\" 2>&1", "sh"});
    ChildProcess demo({.arguments = std::move(arguments),
                       .standardInput = harness::kNull,
                       .standardOutput = harness::kPipe});
    Result result;
    result.printed = demo.read_all(kDemoPatience);
    result.status = demo.wait();
    return result;
}

TEST(DemoNetwork, WithoutNamespacesItStillRunsForRoot) {
    ZRP_NEEDS_NAMESPACES();
    const Result demo = run({WITHOUT_NAMESPACES_PROGRAM, ZRPDEMO_PROGRAM});
    EXPECT_EQ(demo.status, ExitStatus{}) << demo.printed;
    EXPECT_TRUE(demo.printed.starts_with("--- General (80x25)\n")) << demo.printed;
    EXPECT_NE(demo.printed.find("--- Version (80x25)\n"), std::string::npos) << demo.printed;
}

TEST(DemoNetwork, WithoutNamespacesARunningServerIsNotTouched) {
    ZRP_NEEDS_NAMESPACES();
    const ScriptedPeer server(kStorageDaemonSocket, {{read_request()}});
    const Result demo = run({WITHOUT_NAMESPACES_PROGRAM, ZRPDEMO_PROGRAM});
    EXPECT_EQ(demo.status, (ExitStatus{1, 0}));
    EXPECT_NE(demo.printed.find("a running server is not touched"), std::string::npos)
        << demo.printed;
    EXPECT_EQ(server.connections(), 0U);
}

TEST(DemoNetwork, WithoutNamespacesAnOrdinaryUserGetsTheReason) {
    ZRP_NEEDS_NAMESPACES();
    // In a user namespace without a mapping the user is "nobody".
    const Result demo = run({"unshare", "-U", WITHOUT_NAMESPACES_PROGRAM, ZRPDEMO_PROGRAM});
    EXPECT_EQ(demo.status, (ExitStatus{1, 0}));
    EXPECT_NE(demo.printed.find("zrptop runs as root only"), std::string::npos) << demo.printed;
    EXPECT_NE(demo.printed.find("Try again as root"), std::string::npos) << demo.printed;
}

} // namespace
} // namespace zrp::zrpdemo_network_test
