// However the end comes (signal, key, lost terminal), at whatever moment: status 0, once, and the
// terminal as it was before.

#include <csignal>
#include <ctime>
#include <functional>
#include <thread>

#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/session.h"

namespace zrp {
namespace {

using harness::milliseconds;

constexpr int kSignals[] = {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM};

// The refresh interval and two seconds, and something for a loaded machine. Less than the six
// seconds after which the last resort would end the program.
constexpr milliseconds kEndPatience{5500};

const std::string kFigures = statistics(parm("figure", "1") + up_time("9"));
const std::string kOtherFigures = statistics(parm("figure", "2") + up_time("10"));
const std::vector<PeerScript> kMute = {{read_request(), hang()}};

// That the program has used so far.
milliseconds processor_time(Terminal& terminal) {
    clockid_t clock = 0;
    timespec used = {};
    EXPECT_EQ(clock_getcpuclockid(terminal.child().pid(), &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &used), 0);
    return milliseconds{used.tv_sec * 1000 + used.tv_nsec / 1000000};
}

// Whether the program does nothing for so long, without its output being read.
bool stands_still(Terminal& terminal, milliseconds period) {
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

void expect_end_in_time(Terminal& terminal) {
    ASSERT_TRUE(terminal.wait_for_exit(kEndPatience).has_value()) << "still running:\n"
                                                                  << terminal.text();
    expect_ended_cleanly(terminal);
}

class Signal : public testing::TestWithParam<int> {};

TEST_P(Signal, EndsTheProgramWhileItWaitsForAKey) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    terminal.child().send_signal(GetParam());
    expect_end_in_time(terminal);
}

TEST_P(Signal, EndsTheProgramWhileAPassWaitsForAMuteDaemon) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kMute);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.child().send_signal(GetParam());
    expect_end_in_time(terminal);
}

TEST_P(Signal, EndsTheProgramWhileTheKeyLoopWaitsForThatPass) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kMute);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6); // the switch waits for the pass
    terminal.pump(milliseconds{200});
    terminal.child().send_signal(GetParam());
    expect_end_in_time(terminal);
}

TEST_P(Signal, EndsTheProgramOnceWhenAnotherOneComesWithIt) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    terminal.child().send_signal(GetParam());
    terminal.child().send_signal(SIGTERM);
    terminal.child().send_signal(SIGINT);
    terminal.pump(milliseconds{300});
    terminal.child().send_signal(GetParam()); // during the shutdown
    expect_end_in_time(terminal);
}

TEST_P(Signal, EndsTheProgramAtItsStart) {
    ZRP_NEEDS_ROOT();
    for (const int delay : {0, 3, 10, 30}) {
        Terminal terminal(monitor());
        // The first thing on the terminal: from then on the handlers are installed.
        ASSERT_TRUE(terminal.wait_until([&] { return !terminal.raw_output().empty(); }));
        terminal.pump(milliseconds{delay});
        terminal.child().send_signal(GetParam());
        expect_end_in_time(terminal);
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
        expect_end_in_time(fixture.terminal);
    }
}

// The main thread itself waits: each dialog but the one without a list asks for it first.
TEST_P(Signal, EndsTheProgramWhileADialogWaitsForAMuteDaemon) {
    ZRP_NEEDS_ROOT();
    for (const auto& [dialog, asked] :
         {std::pair{kVolume, "listVolumes"}, {kConnection, connection_fixture::kList}}) {
        const char* command = asked; // a lambda takes no part of a pair
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
        expect_end_in_time(terminal);
    }
}

INSTANTIATE_TEST_SUITE_P(Six, Signal, testing::ValuesIn(kSignals), [](const auto& number) {
    return std::string(sigabbrev_np(number.param));
});

TEST(Ending, CtrlCEndsTheProgram) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.type("\x03");
    expect_end_in_time(terminal);
}

TEST(Ending, F12EndsTheProgramWhileAPassWaitsForAMuteDaemon) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kMute);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF12);
    expect_end_in_time(terminal);
}

// The dialog gives the main window back before the key is acted on, and waits for the pass there.
TEST(Ending, F12EndsTheProgramInADialogWhileAPassWaitsForAMuteDaemon) {
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
    expect_end_in_time(terminal);
}

TEST(Ending, ADaemonThatStopsInTheMiddleOfAReplyDoesNotHoldTheEndUp) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply_header(1000) + "<zrp"), hang()}});
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF12);
    expect_end_in_time(terminal);
}

TEST(Ending, WaitingForAMuteDaemonBurnsNoProcessor) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, kMute);
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(terminal.wait_for_rest());
    terminal.press(Key::kF6); // waits for the pass
    const milliseconds before = processor_time(terminal);
    terminal.pump(milliseconds{2500});
    EXPECT_LT(processor_time(terminal) - before, milliseconds{300});
    terminal.child().send_signal(SIGTERM);
    expect_end_in_time(terminal);
}

TEST(Ending, WaitingForTheEndOfALongWaitBurnsNoProcessor) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down());
    fixture.terminal.press(Key::kF12);
    const milliseconds before = processor_time(fixture.terminal);
    fixture.terminal.pump(milliseconds{2500});
    EXPECT_LT(processor_time(fixture.terminal) - before, milliseconds{300});
    expect_ended_cleanly(fixture.terminal);
}

// The last resort counts from the wait that the refresh thread is in.
TEST(Ending, ALongWaitIsWaitedForAlsoWhenTheIntervalIsShortByNow) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down());
    fixture.terminal.type(std::string(9, '-'));
    fixture.terminal.press(Key::kF12);
    EXPECT_FALSE(fixture.terminal.wait_for_exit(milliseconds{6500}).has_value());
    expect_ended_cleanly(fixture.terminal);
}

TEST(Ending, ASignalEndsTheProgramOnATerminalThatIsStopped) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures, kFigures, kOtherFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    terminal.type("\x13"); // Ctrl-S
    terminal.pump(milliseconds{2500});
    terminal.child().send_signal(SIGTERM);
    expect_end_in_time(terminal);
}

// The kernel gives a terminal standard modes when the program that leads its session ends, so here
// a shell leads it and looks.
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

TEST(Ending, TheTerminalHasItsModesBackAfterASignalBeforeItWasTaken) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(in_a_shell(EARLY_SIGNAL_MONITOR_PROGRAM));
    expect_modes_restored(terminal);
}

// A terminal whose other end reads nothing: its screen cannot be restored, its modes can.
TEST(Ending, ASignalEndsTheProgramOnATerminalThatTakesNoOutput) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NO_THREAD_SANITIZER("it holds signals back while a thread is inside write");
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 1"));
    std::string switches; // each draws the whole screen anew, and nobody reads it
    for (int i = 0; i < 200; i++) {
        switches += harness::key_bytes(Key::kF6);
        switches += harness::key_bytes(Key::kF2);
    }
    terminal.type(switches);
    // The kernel may move on what was written without waking the writer for the room that this
    // makes. A signal that means nothing lets him look again, until there is none.
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(stands_still(terminal, milliseconds{500}));
        terminal.child().send_signal(SIGWINCH);
    }
    ASSERT_TRUE(stands_still(terminal, milliseconds{500}));
    const auto told = std::chrono::steady_clock::now();
    terminal.child().send_signal(SIGTERM);
    EXPECT_EQ(terminal.child().wait(), ExitStatus{});
    // Only the last resort takes this long: the terminal really held the program.
    EXPECT_GT(std::chrono::steady_clock::now() - told, milliseconds{4000});
    EXPECT_NE(terminal.modes().c_lflag & ICANON, 0U);
}

TEST(Ending, ADaemonThatGoesAwayDoesNotEndTheProgram) {
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
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.hang_up();
    EXPECT_EQ(terminal.wait_for_exit(kEndPatience), ExitStatus{});
}

TEST(LostTerminal, EndsTheProgramAlsoWhenNoHangupSignalComes) {
    ZRP_NEEDS_ROOT();
    TerminalOptions options = monitor();
    options.child.arguments = {"env", "--block-signal=HUP", ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.hang_up();
    EXPECT_EQ(terminal.wait_for_exit(kEndPatience), ExitStatus{});
}

TEST(LostTerminal, AnEndOfInputEndsTheProgram) {
    ZRP_NEEDS_ROOT();
    TerminalOptions options = monitor();
    options.child.arguments = {"sh", "-c", "exec \"$0\" </dev/null", ZRPTOP_PROGRAM};
    Terminal terminal(options);
    EXPECT_EQ(terminal.wait_for_exit(kEndPatience), ExitStatus{}) << terminal.text();
}

class LostTerminalInDialog : public testing::TestWithParam<ScreenCase> {};

TEST_P(LostTerminalInDialog, EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    fixture.terminal.type("1");
    fixture.terminal.hang_up();
    EXPECT_EQ(fixture.terminal.wait_for_exit(kEndPatience), ExitStatus{});
}

TEST_P(LostTerminalInDialog, EndsTheProgramAlsoWhenNoHangupSignalComes) {
    ZRP_NEEDS_ROOT();
    TerminalOptions options = monitor();
    options.child.arguments = {"env", "--block-signal=HUP", ZRPTOP_PROGRAM};
    MonitorFixture fixture(options);
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    fixture.terminal.hang_up();
    EXPECT_EQ(fixture.terminal.wait_for_exit(kEndPatience), ExitStatus{});
}

INSTANTIATE_TEST_SUITE_P(Dialogs, LostTerminalInDialog, testing::ValuesIn(kDialogs),
                         [](const auto& place) { return std::string(place.param.name); });

TEST(Stopping, CtrlZGivesTheTerminalBackAndContinuingDrawsItAnew) {
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

// Of a shell: "wait" returns at once for a job that is, or was a moment ago, a stopped one.
#define WAIT_FOR_JOB                                                                               \
    "until wait %1; status=$?; [ $status -lt 128 ]; do sleep 0.1; done; echo status $status"

// "kill" of a stopped job, which the shell continues so that it takes the signal. Touching the
// terminal from the background would stop it for good.
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
                               "\"$0\"; printf stopped; bg >/dev/null; read line; kill -TERM %1; "
                               "kill -CONT %1; " WAIT_FOR_JOB,
                               ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_for("stopped"));
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_FALSE(terminal.screen().alternate_screen()) << terminal.text();
    terminal.type("\n");
    EXPECT_TRUE(terminal.wait_for("status 0")) << terminal.raw_output();
}

} // namespace
} // namespace zrp
