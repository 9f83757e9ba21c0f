// The keys of the main thread, the refresh thread, and what goes on between them.

#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/session.h"
#include "tests/terminal/thread_sleeps.h"

namespace zrp::refresh_test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

bool shows_figures(const Terminal& terminal) {
    return terminal.screen().text_at(6, kListColumn, 9) == "figure: 1";
}

bool shows_empty_frame(const Terminal& terminal) {
    for (int row = 6; row < 19; row++) {
        if (terminal.row(row) != std::string(" ") + kVertical + std::string(76, ' ') + kVertical) {
            return false;
        }
    }
    return terminal.cell(5, 1).text == kTopLeft && terminal.cell(19, 78).text == kBottomRight;
}

std::string times(size_t count, char key) {
    return std::string(count, key);
}

// Types the keys and waits for the end of a pass on General that began after them, whose wait is
// then the new interval. A pass that ends between two of the keys waits for an interval in between:
// the patience must allow for that.
bool change_interval(Terminal& terminal, const ScriptedPeer& peer, const std::string& keys,
                     harness::milliseconds patience = harness::kPatience) {
    terminal.type(keys);
    if (!terminal.wait_for_rest()) { // the keys are read
        return false;
    }
    const size_t before = peer.connections();
    return terminal.wait_until([&] { return peer.connections() >= before + 2; }, patience) &&
           terminal.wait_for_rest();
}

TEST(Pass, ThatChangesNothingWritesNothing) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest());
    const size_t written = terminal.raw_output().size();
    const size_t before = peer.connections();
    ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= before + 4; }));
    EXPECT_EQ(terminal.raw_output().substr(written), "");
    expect_clean_end(terminal);
}

TEST(Pass, ThatIsNotHeldUpLetsTheMainThreadSleep) {
    ZRP_NEEDS_ROOT();
    constexpr int kPasses = 3;
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest());
    const pid_t process = terminal.child().pid();
    const long sleeps = main_thread_sleeps(process);
    const size_t before = peer.connections();
    ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= before + 2 * kPasses; }));
    EXPECT_LT(main_thread_sleeps(process), sleeps + kPasses);
    expect_clean_end(terminal);
}

TEST(Pass, LeavesAHiddenCursorWhereItWroteLast) {
    ZRP_NEEDS_ROOT();
    for (const auto& [type, row] : {std::pair{"xterm", kStripTextRow},
                                    std::pair{"vt100", kMainTop}}) { // which cannot hide it
        SCOPED_TRACE(type);
        ScriptedPeer peer(kMainDaemonSocket,
                          answers({kFigures, kFigures, statistics(up_time("8")), kFigures}));
        TerminalOptions options = monitor();
        options.term = type;
        Terminal terminal(options);
        ASSERT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "8 Seconds"));
        ASSERT_TRUE(terminal.wait_for_rest());
        EXPECT_EQ(terminal.screen().cursor().row, row);
        terminal.child().send_signal(SIGTERM);
        EXPECT_EQ(terminal.wait_for_exit(), (ExitStatus{0, 0}));
    }
}

TEST(Pass, ThatIsHeldUpShowsWhatItHasDrawn) {
    ZRP_NEEDS_ROOT();
    std::vector<PeerScript> scripts = answers({kFigures, kFigures, statistics(up_time("8"))});
    scripts.push_back({read_request(), hang()});
    const ScriptedPeer peer(kMainDaemonSocket, scripts);
    Terminal terminal(monitor());
    EXPECT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "8 Seconds"))
        << terminal.text();
    expect_clean_end(terminal);
}

TEST(Interval, StaysWithinOneAndSixtySeconds) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    // Back to one second. Without the limit at 60 it would be 142, longer than the patience.
    ASSERT_TRUE(change_interval(terminal, peer, times(200, '+') + times(59, '-'), seconds{75}));
    // Without the limit at 1 this would end below 0, and passes would follow without a pause.
    terminal.type(times(50, '-') + "+-");
    ASSERT_TRUE(terminal.wait_for_rest());
    const auto start = steady_clock::now();
    const size_t before = peer.connections();
    ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= before + 6; }));
    EXPECT_GE(steady_clock::now() - start, seconds{2}) << "two whole waits";
    expect_clean_end(terminal);
}

TEST(Interval, WithALongOneASwitchLeavesAnEmptyFrame) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the end of that pass
    const auto start = steady_clock::now();
    ASSERT_TRUE(change_interval(terminal, peer, "+++"));
    const size_t before = peer.connections();
    terminal.press(Key::kF6);
    terminal.press(Key::kF2);
    ASSERT_TRUE(terminal.wait_until([&] { return shows_empty_frame(terminal); }))
        << terminal.text();
    ASSERT_TRUE(terminal.wait_for_rest()); // a switch that started a pass would fill it
    EXPECT_TRUE(shows_empty_frame(terminal)) << terminal.text();
    EXPECT_EQ(peer.connections(), before);
    EXPECT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); })) << terminal.text();
    EXPECT_GE(steady_clock::now() - start, seconds{4}) << "the whole interval";
}

TEST(Interval, F12WaitsForTheEndOfALongOne) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the end of that pass
    const auto start = steady_clock::now();
    ASSERT_TRUE(change_interval(terminal, peer, "+++++"));
    expect_clean_end(terminal);
    EXPECT_GE(steady_clock::now() - start, seconds{6}) << "the whole interval";
}

TEST(KeyLoop, F2OnTheGeneralScreenDoesNothing) {
    ZRP_NEEDS_ROOT();
    const std::string shorter = statistics(parm("f", "1"));
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures, kFigures, shorter}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    terminal.press(Key::kF2);
    // The rest of the longer line would be gone if the window had been cleared.
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "f: 1re: 1")) << terminal.text();
}

TEST(KeyLoop, ASwitchAndBackDrawsFromAnEmptyWindow) {
    ZRP_NEEDS_ROOT();
    const std::string shorter = statistics(parm("f", "1"));
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures, kFigures, shorter}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    terminal.press(Key::kF6);
    terminal.press(Key::kF2);
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "f: 1     ")) << terminal.text();
}

class EndingKey : public testing::TestWithParam<Key> {};

TEST_P(EndingKey, EndsTheProgramCleanly) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    terminal.press(GetParam());
    expect_ended_cleanly(terminal);
}

INSTANTIATE_TEST_SUITE_P(Keys, EndingKey, testing::Values(Key::kF1, Key::kF12),
                         [](const auto& key) {
                             return std::string(key.param == Key::kF1 ? "F1" : "F12");
                         });

TEST(KeyLoop, KeysWithoutAMeaningAreIgnored) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    for (const Key key :
         {Key::kF10, Key::kF11, Key::kUp, Key::kDown, Key::kHome, Key::kEnd, Key::kPageUp,
          Key::kPageDown, Key::kInsert, Key::kDelete, Key::kEnter, Key::kBackspace, Key::kEscape}) {
        terminal.press(key);
    }
    ASSERT_TRUE(change_interval(terminal, peer, "qQ0x \x01\xff"));
    EXPECT_TRUE(shows_figures(terminal)) << terminal.text();
    expect_clean_end(terminal);
}

TEST(RefreshThread, EachPassAsksForTheStripAndForTheList) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down()); // between two passes
    const size_t requests = fixture.peer.connections();
    EXPECT_EQ(requests % 2, 0U);
    EXPECT_EQ(fixture.strips(), requests);
    ASSERT_TRUE(fixture.terminal.wait_until([&] { return fixture.peer.connections() > requests; }));
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    EXPECT_EQ(fixture.peer.connections(), requests + 2);
}

TerminalOptions watched_monitor() {
    TerminalOptions options = monitor();
    options.child.arguments = {WATCHED_MONITOR_PROGRAM};
    return options;
}

// Without a daemon the first pass draws at once, while the main thread is still starting.
TEST(RefreshThread, AtTheStartNeverDrawsWhileTheMainThreadIsInsideNcurses) {
    ZRP_NEEDS_ROOT();
    for (int i = 0; i < 3; i++) {
        Terminal terminal(watched_monitor());
        ASSERT_TRUE(wait_for_windows(terminal)) << terminal.raw_output();
        expect_clean_end(terminal);
    }
}

TEST(RefreshThread, NeverDrawsWhileTheMainThreadIsInsideNcurses) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(watched_monitor());
    ASSERT_TRUE(fixture.begin()) << fixture.terminal.raw_output();
    for (const ScreenCase& entry : {kVolume, kDiagnostics, kGeneral}) {
        ASSERT_TRUE(fixture.show(entry)) << entry.name << fixture.terminal.raw_output();
        ASSERT_TRUE(fixture.open_dialog(kVolume)) << fixture.terminal.raw_output();
        ASSERT_TRUE(repeat_around_passes(
            fixture.terminal, 2, 1, [&] { return fixture.strips(); },
            [&] { return type_and_erase(fixture.terminal, "12", kVolume.prompt); }));
        fixture.terminal.type("\x15q\r");
        ASSERT_TRUE(fixture.wait_for_screen(entry)) << fixture.terminal.raw_output();
    }
    expect_clean_end(fixture.terminal);
}

// The key of the dialog comes while a pass waits for its figures.
TEST(RefreshThread, DrawsTheFiguresOfAPassBeforeADialogThatIsOpenedDuringIt) {
    ZRP_NEEDS_ROOT();
    std::vector<PeerScript> scripts;
    for (int i = 10; i < 90; i++) {
        const std::string figures = statistics(parm("figure", std::to_string(i)) + up_time("9"));
        scripts.push_back(
            {read_request(), pause_for(harness::milliseconds{50}), send_bytes(reply(figures))});
    }
    const ScriptedPeer peer(kMainDaemonSocket, std::move(scripts));
    Terminal terminal(monitor());
    const auto wait_for_requests = [&](size_t count) {
        const size_t before = peer.connections();
        return terminal.wait_until([&] { return peer.connections() >= before + count; });
    };
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(terminal.wait_for("figure: ")) << terminal.text();
        ASSERT_TRUE(terminal.wait_for_rest());
        ASSERT_TRUE(wait_for_requests(2)); // the strip's, and that of the list
        terminal.press(kDiagnostics.key);
        ASSERT_TRUE(terminal.wait_for(kDiagnostics.prompt)) << terminal.text();
        const harness::Snapshot opened = terminal.screen().snapshot();
        ASSERT_TRUE(wait_for_requests(2)); // both the strip's
        EXPECT_EQ(terminal.screen().snapshot(), opened) << terminal.text();
        terminal.press(Key::kF1);
    }
    ASSERT_TRUE(terminal.wait_for("figure: "));
    expect_clean_end(terminal);
}

} // namespace
} // namespace zrp::refresh_test
