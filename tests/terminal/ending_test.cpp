// However the end comes (signal, key, lost terminal), at whatever moment: status 0, once, and the
// terminal as it was before.

#include <csignal>
#include <functional>
#include <sys/resource.h>

#include "tests/terminal/house.h"
#include "tests/terminal/session.h"

namespace zrp {
namespace {

using stage::milliseconds;

constexpr int kSignals[] = {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM};

// The refresh interval and two seconds, and something for a loaded machine.
constexpr milliseconds kEndPatience{3000 + 5000};

const std::string kFigures = statistics(parm("figure", "1") + up_time("9"));
const std::string kOtherFigures = statistics(parm("figure", "2") + up_time("10"));
const std::vector<PeerScript> kMute = {{read_request(), hang()}};

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
    for (const Place& dialog : kDialogs) {
        House house;
        ASSERT_TRUE(house.begin());
        ASSERT_TRUE(house.open_dialog(dialog));
        house.terminal.type("1");
        house.terminal.child().send_signal(GetParam());
        expect_end_in_time(house.terminal);
    }
}

// The main thread itself waits: each dialog but the one without a list asks for it first.
TEST_P(Signal, EndsTheProgramWhileADialogWaitsForAMuteDaemon) {
    ZRP_NEEDS_ROOT();
    for (const auto& [dialog, command] :
         {std::pair{kVolume, "listVolumes"}, {kConnection, connection_world::kList}}) {
        const auto daemon = House::prepared();
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
    const auto daemon = House::prepared();
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
    terminal.press(Key::kF6);
    terminal.pump(milliseconds{2500});
    terminal.child().send_signal(SIGTERM);
    ASSERT_TRUE(terminal.wait_for_exit(kEndPatience).has_value());
    rusage used = {};
    getrusage(RUSAGE_CHILDREN, &used);
    const auto milliseconds_of = [](timeval time) {
        return time.tv_sec * 1000 + time.tv_usec / 1000;
    };
    EXPECT_LT(milliseconds_of(used.ru_utime) + milliseconds_of(used.ru_stime), 1500);
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
void expect_modes_restored_after(const std::function<void(Terminal&)>& end) {
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    TerminalOptions options = monitor();
    options.child.arguments = {
        "sh", "-c",
        "trap : INT; \"$0\"; status=$?; set -- $(stty -a | tr -d ';'); for mode; do "
        "case $mode in (*ixon|*icanon|*echo) printf '%s ' $mode; esac; "
        "done; echo status $status",
        ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    end(terminal);
    EXPECT_TRUE(terminal.wait_until([&] {
        return terminal.raw_output().find("ixon icanon echo status 0") != std::string::npos;
    })) << terminal.raw_output();
}

TEST(Ending, TheTerminalHasItsModesBackAfterAKey) {
    ZRP_NEEDS_ROOT();
    expect_modes_restored_after([](Terminal& terminal) { terminal.press(Key::kF12); });
}

TEST(Ending, TheTerminalHasItsModesBackAfterASignal) {
    ZRP_NEEDS_ROOT();
    expect_modes_restored_after([](Terminal& terminal) { terminal.type("\x03"); });
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
        switches += stage::key_bytes(Key::kF6);
        switches += stage::key_bytes(Key::kF2);
    }
    terminal.type(switches);
    EXPECT_FALSE(terminal.child().wait(milliseconds{2000}).has_value());
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

class LostTerminalInDialog : public testing::TestWithParam<Place> {};

TEST_P(LostTerminalInDialog, EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.open_dialog(GetParam()));
    house.terminal.type("1");
    house.terminal.hang_up();
    EXPECT_EQ(house.terminal.wait_for_exit(kEndPatience), ExitStatus{});
}

TEST_P(LostTerminalInDialog, EndsTheProgramAlsoWhenNoHangupSignalComes) {
    ZRP_NEEDS_ROOT();
    TerminalOptions options = monitor();
    options.child.arguments = {"env", "--block-signal=HUP", ZRPTOP_PROGRAM};
    House house(options);
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.open_dialog(GetParam()));
    house.terminal.hang_up();
    EXPECT_EQ(house.terminal.wait_for_exit(kEndPatience), ExitStatus{});
}

INSTANTIATE_TEST_SUITE_P(Dialogs, LostTerminalInDialog, testing::ValuesIn(kDialogs),
                         [](const auto& place) { return std::string(place.param.name); });

TEST(Stopping, CtrlZGivesTheTerminalBackAndContinuingDrawsItAnew) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    TerminalOptions options = monitor();
    // A shell with job control, as users have it.
    options.child.arguments = {"sh", "-mc", "\"$0\"; printf stopped; sleep 1; fg >/dev/null",
                               ZRPTOP_PROGRAM};
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_until([&] { return !terminal.eye().alternate_screen(); }))
        << terminal.text();
    ASSERT_TRUE(terminal.wait_until([&] { return terminal.eye().alternate_screen(); }));
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "figure: 1")) << terminal.text();
    expect_clean_end(terminal);
}

} // namespace
} // namespace zrp
