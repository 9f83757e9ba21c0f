// What the parent has left: closed streams, blocked and ignored signals.

#include <csignal>
#include <filesystem>

#include "tests/support/private_folder.h"
#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::inherited_state_test {
namespace {

// What a shell does to the streams before it becomes the monitor, and whether the monitor runs
// then.
struct StreamCase {
    const char* name;
    const char* redirections;
    bool runs;
};

class ClosedStreams : public testing::TestWithParam<std::tuple<StreamCase, bool>> {};

TerminalOptions with_redirections(const TraceFolder& folder, const char* redirections,
                                  bool traces) {
    TerminalOptions options = traced_monitor(folder);
    options.child.arguments = {"sh", "-c",
                               std::string("exec \"$0\" ") + (traces ? "-d " : "") + redirections,
                               ZRPTOP_PROGRAM};
    return options;
}

// The number of a stream that would otherwise be that of a socket, a file or the wake descriptor.
std::string opened_as(const Terminal& terminal, pid_t process, int stream) {
    EXPECT_TRUE(terminal.is_open());
    return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/fd/" +
                                         std::to_string(stream));
}

TEST_P(ClosedStreams, AreNotTakenByOthers) {
    ZRP_NEEDS_ROOT();
    const auto& [stream, traces] = GetParam();
    const TraceFolder folder;
    const auto daemon = MonitorFixture::prepared();
    const ScriptedPeer peer(kMainDaemonSocket, {daemon->script()});
    Terminal terminal(with_redirections(folder, stream.redirections, traces));
    if (stream.runs) {
        ASSERT_TRUE(terminal.wait_for(kGeneral.shown)) << terminal.text();
        EXPECT_EQ(opened_as(terminal, terminal.child().pid(), STDERR_FILENO), "/dev/null");
        expect_clean_end(terminal);
    } else {
        EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{}) << terminal.raw_output();
        EXPECT_EQ(terminal.raw_output(), "");
        EXPECT_EQ(peer.connections(), 0U);
    }
    if (traces) {
        EXPECT_TRUE(folder.trace().starts_with("\n****")) << folder.trace();
        EXPECT_EQ(folder.trace().find('\x1b'), std::string::npos) << folder.trace();
    }
}

constexpr StreamCase kStreamCases[] = {
    {"Input", "<&-", false},
    {"Output", ">&-", false},
    {"Errors", "2>&-", true},
    {"InputAndErrors", "<&- 2>&-", false},
    {"OutputAndErrors", ">&- 2>&-", false},
    {"All", "<&- >&- 2>&-", false},
};

INSTANTIATE_TEST_SUITE_P(Of, ClosedStreams,
                         testing::Combine(testing::ValuesIn(kStreamCases), testing::Bool()),
                         [](const auto& one) {
                             return std::string(std::get<0>(one.param).name) +
                                    (std::get<1>(one.param) ? "WithATrace" : "");
                         });

// The monitor after "env" has changed its signals.
TerminalOptions with_signals(const std::string& change) {
    TerminalOptions options = monitor();
    auto& arguments = options.child.arguments;
    arguments.insert(arguments.begin(), {"env", change});
    return options;
}

class InheritedSignal : public testing::TestWithParam<int> {
protected:
    [[nodiscard]] static std::string name() {
        return sigabbrev_np(GetParam());
    }
};

TEST_P(InheritedSignal, EndsTheProgramEvenIfItWasBlocked) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(with_signals("--block-signal=" + name()));
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.child().send_signal(GetParam());
    expect_ended_cleanly(fixture.terminal);
}

TEST_P(InheritedSignal, EndsTheProgramEvenIfItWasIgnored) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(with_signals("--ignore-signal=" + name()));
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.child().send_signal(GetParam());
    expect_ended_cleanly(fixture.terminal);
}

INSTANTIATE_TEST_SUITE_P(Six, InheritedSignal, testing::ValuesIn(kEndingSignals),
                         [](const auto& number) {
                             return std::string(sigabbrev_np(number.param));
                         });

TEST(InheritedSignals, AnIgnoredStopFromTheTerminalIsHonoured) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(with_signals("--ignore-signal=TSTP"));
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.type("\x1a");
    ASSERT_TRUE(fixture.show(kParameters)) << fixture.terminal.text();
    EXPECT_EQ(fixture.terminal.raw_output().rfind("\x1b[?1049l"), std::string::npos)
        << "the terminal was given back meanwhile";
    expect_clean_end(fixture.terminal);
}

// The commands of the Version screen have a status all the same.
TEST(InheritedSignals, AnIgnoredChildSignalTakesNoVersionAway) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    const PrivateFolder opt("/opt");
    opt.write("velmora/zrpserv/sbin/zrpshell", "VeRsIoN = of the shell\n");
    MonitorFixture fixture(with_signals("--ignore-signal=CHLD"));
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(kVersion)) << fixture.terminal.text();
    EXPECT_TRUE(fixture.terminal.wait_for("[zrpshell] of the shell")) << fixture.terminal.text();
    expect_clean_end(fixture.terminal);
}

} // namespace
} // namespace zrp::inherited_state_test
