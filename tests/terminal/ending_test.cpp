// However the program is made to end (signal, key, lost terminal) and whenever: status 0, once, and
// the terminal as it was before.

#include <csignal>
#include <ctime>
#include <functional>
#include <sys/resource.h>
#include <thread>

#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/session.h"
#include "tests/terminal/thread_sleeps.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::ending_test {
namespace {

using harness::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

const std::string kOtherFigures = statistics(parm("figure", "2") + up_time("10"));
const std::vector<PeerScript> kSilent = {{read_request(), hang()}};

// Used by the program so far.
milliseconds processor_time(Terminal& terminal) {
    clockid_t clock = 0;
    timespec used = {};
    EXPECT_EQ(clock_getcpuclockid(terminal.child().pid(), &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &used), 0);
    return milliseconds{used.tv_sec * 1000 + used.tv_nsec / 1000000};
}

// Used by all children that have ended so far.
milliseconds processor_time_of_the_ended() {
    rusage used = {};
    EXPECT_EQ(getrusage(RUSAGE_CHILDREN, &used), 0);
    return seconds{used.ru_utime.tv_sec + used.ru_stime.tv_sec} +
           std::chrono::ceil<milliseconds>(
               std::chrono::microseconds{used.ru_utime.tv_usec + used.ru_stime.tv_usec});
}

// Waits until the program has slept at every look for this long. Its output is not read meanwhile.
bool wait_for_standstill(Terminal& terminal, milliseconds period) {
    constexpr milliseconds kLook{20};
    const harness::Deadline deadline(harness::kPatience);
    for (milliseconds still{0}; still < period; still += kLook) {
        if (deadline.passed()) {
            return false;
        }
        std::this_thread::sleep_for(kLook);
        if (!terminal.child().sleeps()) {
            still = milliseconds{0};
        }
    }
    return true;
}

// A terminal that is gone shows no restored screen. The trace shows that it was the regular
// shutdown that ended the program, and not the last resort.
void expect_regular_shutdown(Terminal& terminal, const TraceFolder& folder) {
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
    EXPECT_NE(folder.trace().find("release hash table"), std::string::npos) << folder.trace();
}

class Signal : public testing::TestWithParam<int> {};

TEST_P(Signal, EndsTheProgramWhileItWaitsForAKey) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    terminal.child().send_signal(GetParam());
    expect_ended_cleanly(terminal);
}

TEST_P(Signal, EndsTheProgramWhileAPassWaitsForASilentDaemon) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kSilent);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.child().send_signal(GetParam());
    expect_ended_cleanly(terminal);
}

TEST_P(Signal, EndsTheProgramWhileTheKeyLoopWaitsForThatPass) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kSilent);
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6); // the switch waits for the pass
    ASSERT_TRUE(terminal.wait_until([&] { return !folder.trace_of("main").empty(); }));
    ASSERT_TRUE(terminal.wait_for_rest());
    terminal.child().send_signal(GetParam());
    expect_ended_cleanly(terminal);
}

TEST_P(Signal, EndsTheProgramOnceEvenIfOthersArriveWithIt) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    terminal.child().send_signal(GetParam());
    terminal.child().send_signal(SIGTERM);
    terminal.child().send_signal(SIGINT);
    // The first thing that a request to exit does to the terminal. A pass that ends just then lets
    // the program end before a look at it.
    ASSERT_TRUE(terminal.wait_until(
        [&] { return (terminal.modes().c_iflag & IXON) == 0 || !terminal.is_open(); }));
    terminal.child().send_signal(GetParam()); // during the shutdown
    expect_ended_cleanly(terminal);
}

TEST_P(Signal, EndsTheProgramAtItsStart) {
    ZRP_NEEDS_ROOT();
    // The handlers are installed before the first output.
    const std::function<bool(Terminal&)> moments[] = {
        [](Terminal& terminal) { return terminal.wait_for_output(); },
        [](Terminal& terminal) { return terminal.wait_for("[F12] Exit"); },
        [](Terminal& terminal) { return terminal.wait_for("Server Up Time:"); },
        wait_for_windows,
    };
    for (const auto& wait_for_moment : moments) {
        Terminal terminal(monitor());
        ASSERT_TRUE(wait_for_moment(terminal));
        terminal.child().send_signal(GetParam());
        expect_ended_cleanly(terminal);
    }
}

TEST_P(Signal, EndsTheProgramWhileADialogReads) {
    ZRP_NEEDS_ROOT();
    for (const ScreenCase& dialog : kDialogs) {
        MonitorFixture fixture;
        ASSERT_TRUE(fixture.begin());
        ASSERT_TRUE(fixture.open_dialog(dialog));
        fixture.terminal.type("1");
        fixture.terminal.child().send_signal(GetParam());
        expect_ended_cleanly(fixture.terminal);
    }
}

// The main thread itself waits: a dialog with a list asks for it first.
TEST_P(Signal, EndsTheProgramWhileADialogWaitsForASilentDaemon) {
    ZRP_NEEDS_ROOT();
    for (const auto& [dialog, asked] :
         {std::pair{kVolume, "listVolumes"}, {kConnection, connection_fixture::kList}}) {
        const char* command = asked; // a lambda cannot capture a structured binding
        const auto daemon = MonitorFixture::prepared();
        daemon->answer_raw(command, {reply_header(100)}); // and the text never comes
        PeerScript script = daemon->script();
        script.push_back(wait_for_close());
        const ScriptedPeer peer(kMainDaemonSocket, {script});
        Terminal terminal(monitor());
        ASSERT_TRUE(terminal.wait_for(kGeneral.shown));
        terminal.press(dialog.key);
        ASSERT_TRUE(terminal.wait_until([&] { return !daemon->requests(command).empty(); }));
        terminal.child().send_signal(GetParam());
        expect_ended_cleanly(terminal);
    }
}

INSTANTIATE_TEST_SUITE_P(Six, Signal, testing::ValuesIn(kEndingSignals), [](const auto& number) {
    return std::string(sigabbrev_np(number.param));
});

TEST(Ending, CtrlCEndsTheProgram) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.type("\x03");
    expect_ended_cleanly(terminal);
}

TEST(Ending, F12EndsTheProgramWhileAPassWaitsForASilentDaemon) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kSilent);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF12);
    expect_ended_cleanly(terminal);
}

// Before the key takes effect the dialog gives the main window back, and waits for the pass there.
TEST(Ending, F12EndsTheProgramInADialogWhileAPassWaitsForASilentDaemon) {
    ZRP_NEEDS_ROOT();
    const auto daemon = MonitorFixture::prepared();
    PeerScript script = daemon->script();
    script.push_back(wait_for_close());
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for(kGeneral.shown));
    terminal.press(kVolume.key);
    ASSERT_TRUE(terminal.wait_for(kVolume.prompt));
    daemon->answer_raw("serverStatistics", {reply_header(100)}); // and the text never comes
    const size_t before = daemon->requests("serverStatistics").size();
    ASSERT_TRUE(
        terminal.wait_until([&] { return daemon->requests("serverStatistics").size() > before; }));
    terminal.press(Key::kF12);
    expect_ended_cleanly(terminal);
}

TEST(Ending, ADaemonThatStopsInTheMiddleOfAReplyDoesNotHoldUpTheExit) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply_header(1000) + "<zrp"), hang()}});
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF12);
    expect_ended_cleanly(terminal);
}

// Its scan takes longer than the last resort waits, which would leave the screen as it is. The
// thread sanitizer makes it eight times as slow.
TEST(Ending, AScanOfAHugeReplyDoesNotHoldUpTheExit) {
    ZRP_NEEDS_ROOT();
#ifdef __SANITIZE_THREAD__
    constexpr size_t kSize = 50'000'000;
#else
    constexpr size_t kSize = 200'000'000;
#endif
    std::string items = "<parm><name>a</name></parm>";
    while (items.size() < kSize) {
        items += items;
    }
    std::string text = "<zrpConsoleReply><serverStatistics>" + std::move(items) +
                       "</serverStatistics></zrpConsoleReply>";
    const auto length = static_cast<uint32_t>(text.size());
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply_header(length)),
                                           send_bytes(std::move(text))}});
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_finished(1)); // everything is read
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
}

TEST(Ending, WaitingForASilentDaemonUsesNoProcessorTime) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kSilent);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6); // the switch waits for the pass
    ASSERT_TRUE(terminal.wait_for_rest());
    const pid_t process = terminal.child().pid();
    const milliseconds before = processor_time(terminal);
    const long sleeps = main_thread_sleeps(process);
    // A wait that spins is never at rest. One that looks again and again sleeps many times.
    for (int i = 0; i < 5; i++) {
        ASSERT_TRUE(terminal.wait_for_rest());
    }
    EXPECT_LT(main_thread_sleeps(process), sleeps + 10);
    EXPECT_LT(processor_time(terminal) - before, milliseconds{50});
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
}

TEST(Ending, WaitingForTheEndOfALongIntervalUsesNoProcessorTime) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down());
    const milliseconds before = processor_time_of_the_ended() + processor_time(fixture.terminal);
    const auto start = steady_clock::now();
    expect_clean_end(fixture.terminal);
    const auto waited = steady_clock::now() - start;
    EXPECT_GT(waited, seconds{3}) << "most of the interval of ten seconds";
    EXPECT_LT(processor_time_of_the_ended() - before, waited / 10);
}

// The last resort allows for the wait that the refresh thread is in. Allowing for the new interval
// it would come after six seconds, and leave the screen as it is.
TEST(Ending, ALongIntervalIsWaitedForEvenIfItIsShortenedMeanwhile) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down());
    fixture.terminal.type(std::string(9, '-'));
    const auto start = steady_clock::now();
    expect_clean_end(fixture.terminal);
    EXPECT_GT(steady_clock::now() - start, seconds{6});
}

TEST(Ending, ASignalEndsTheProgramOnATerminalThatIsStopped) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures, kFigures, kOtherFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    terminal.type("\x13"); // Ctrl-S
    // The new up time comes with the second pass, which gets no further: it cannot be written.
    ASSERT_TRUE(peer.wait_for_finished(3));
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(terminal.screen().text_at(kStripTextRow, kUpTimeColumn, 9), "9 Seconds");
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
}

// The kernel resets a terminal's modes when the leader of its session ends. Here a shell is the
// leader, and prints the modes afterwards.
TerminalOptions in_a_shell(const char* program) {
    TerminalOptions options = monitor();
    options.child.arguments = {"sh", "-c",
                               "trap : INT; \"$0\"; status=$?; printf 'modes '; set -- $(stty -a | "
                               "tr -d ';'); for mode; do "
                               "case $mode in (*ixon|*icanon|*echo) printf '%s ' $mode; esac; "
                               "done; echo status $status",
                               program};
    return options;
}

void expect_modes_restored(Terminal& terminal) {
    EXPECT_TRUE(terminal.wait_until([&] {
        return terminal.raw_output().find("modes ixon icanon echo status 0") != std::string::npos;
    })) << terminal.raw_output();
}

TEST(Ending, TheTerminalHasItsModesBackAfterAKey) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(in_a_shell(ZRPTOP_PROGRAM));
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.press(Key::kF12);
    expect_modes_restored(terminal);
}

TEST(Ending, TheTerminalHasItsModesBackAfterASignal) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(in_a_shell(ZRPTOP_PROGRAM));
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x03");
    expect_modes_restored(terminal);
}

TEST(Ending, TheTerminalHasItsModesBackAfterASignalBeforeTheFirstOutput) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(in_a_shell(EARLY_SIGNAL_MONITOR_PROGRAM));
    expect_modes_restored(terminal);
}

// The other end of the terminal reads nothing: the screen cannot be restored, the modes can.
TEST(Ending, ASignalEndsTheProgramOnATerminalThatTakesNoOutput) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NO_THREAD_SANITIZER("it holds signals back while a thread is inside write");
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    std::string switches; // each redraws the whole screen, whose output is not read
    for (int i = 0; i < 200; i++) {
        switches += harness::key_bytes(Key::kF6);
        switches += harness::key_bytes(Key::kF2);
    }
    terminal.type(switches);
    // The kernel may make room without waking the writer. A signal without a meaning makes the
    // writer look again, until there is no room left.
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(wait_for_standstill(terminal, milliseconds{500}));
        terminal.child().send_signal(SIGWINCH);
    }
    ASSERT_TRUE(wait_for_standstill(terminal, milliseconds{500}));
    const auto start = steady_clock::now();
    terminal.child().send_signal(SIGTERM);
    EXPECT_EQ(terminal.child().wait(), ExitStatus{});
    // Only the last resort takes this long: the terminal really held the program.
    EXPECT_GT(steady_clock::now() - start, seconds{4});
    EXPECT_NE(terminal.modes().c_lflag & ICANON, 0U);
}

TEST(Ending, ADaemonThatEndsDoesNotEndTheProgram) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    {
        ScriptedPeer peer(kMainDaemonSocket, {{reset()}});
        ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= 4; }));
    }
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    EXPECT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
}

TEST(LostTerminal, EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.hang_up();
    expect_regular_shutdown(terminal, folder);
}

TEST(LostTerminal, EndsTheProgramEvenWithoutAHangupSignal) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    Terminal terminal(without_controlling_terminal(folder));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.hang_up();
    expect_regular_shutdown(terminal, folder);
}

TEST(LostTerminal, AnEndOfInputEndsTheProgram) {
    ZRP_NEEDS_ROOT();
    TerminalOptions options = monitor();
    options.child.arguments = {"sh", "-c", "exec \"$0\" </dev/null", ZRPTOP_PROGRAM};
    Terminal terminal(options);
    expect_ended_cleanly(terminal);
}

class LostTerminalInDialog : public testing::TestWithParam<ScreenCase> {};

TEST_P(LostTerminalInDialog, EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    MonitorFixture fixture(traced_monitor(folder));
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    fixture.terminal.type("1");
    fixture.terminal.hang_up();
    expect_regular_shutdown(fixture.terminal, folder);
}

TEST_P(LostTerminalInDialog, EndsTheProgramEvenWithoutAHangupSignal) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    MonitorFixture fixture(without_controlling_terminal(folder));
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    fixture.terminal.hang_up();
    expect_regular_shutdown(fixture.terminal, folder);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, LostTerminalInDialog, testing::ValuesIn(kDialogs),
                         [](const auto& dialog) { return std::string(dialog.param.name); });

TEST(Stopping, CtrlZRestoresTheTerminalAndContinuingRedrawsIt) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    TerminalOptions options = monitor();
    // A shell with job control, as users have it.
    options.child.arguments = {"sh", "-mc", "\"$0\"; printf stopped; read line; fg >/dev/null",
                               ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_until([&] { return !terminal.screen().alternate_screen(); }))
        << terminal.text();
    ASSERT_TRUE(terminal.wait_for("stopped"));
    terminal.type("\n");
    ASSERT_TRUE(terminal.wait_until([&] { return terminal.screen().alternate_screen(); }));
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "figure: 1")) << terminal.text();
    expect_clean_end(terminal);
}

// In a shell. "wait" returns at once for a job that is stopped or was stopped a moment ago.
#define WAIT_FOR_JOB                                                                               \
    "until wait %1; status=$?; [ $status -lt 128 ]; do sleep 0.1; done; echo status $status"

// A stopped job takes a signal once the shell continues it. Touching the terminal from the
// background would stop it for good.
TEST(Stopping, ASignalEndsTheStoppedProgramWithoutTheTerminal) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    TerminalOptions options = monitor();
    options.child.arguments = {
        "sh", "-mc", "\"$0\"; printf stopped; kill -TERM %1; kill -CONT %1; " WAIT_FOR_JOB,
        ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_for("status 0")) << terminal.raw_output();
    const std::string& output = terminal.raw_output();
    EXPECT_EQ(output.find('\x1b', output.find("stopped")), std::string::npos) << output;
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
}

TEST(Stopping, ContinuedInTheBackgroundItStopsAgain) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    TerminalOptions options = monitor();
    options.child.arguments = {"sh", "-mc",
                               "\"$0\"; printf stopped; read line; bg >/dev/null; read line; "
                               "kill -TERM %1; kill -CONT %1; " WAIT_FOR_JOB,
                               ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_for("stopped"));
    const std::vector<pid_t> jobs = harness::children_of(terminal.child().pid());
    ASSERT_EQ(jobs.size(), 1U);
    const auto is_stopped = [&] { return harness::process_state(jobs[0]) == 'T'; };
    ASSERT_TRUE(terminal.wait_until(is_stopped));
    const long sleeps = main_thread_sleeps(jobs[0]);
    terminal.type("\n");
    ASSERT_TRUE(
        terminal.wait_until([&] { return main_thread_sleeps(jobs[0]) > sleeps && is_stopped(); }));
    EXPECT_FALSE(terminal.screen().alternate_screen()) << terminal.text();
    terminal.type("\n");
    EXPECT_TRUE(terminal.wait_for("status 0")) << terminal.raw_output();
}

} // namespace
} // namespace zrp::ending_test
