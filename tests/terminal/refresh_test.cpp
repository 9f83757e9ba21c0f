// Keys of the main thread, the refresh thread and what passes between them.

#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/session.h"

namespace zrp {
namespace {

using harness::milliseconds;

const std::string kFigures = statistics(parm("figure", "1") + up_time("9"));

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

// All of them between two passes: one that began between two of the keys would wait by the interval
// of that moment.
void press_often(Terminal& terminal, char key, size_t times) {
    terminal.type(std::string(times, key));
}

TEST(Interval, StaysWithinOneAndSixtySeconds) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the end of that pass
    // Without the limit at 60 this would end at 41 and no further pass would be seen.
    press_often(terminal, '+', 100);
    press_often(terminal, '-', 59);
    const size_t before = peer.connections();
    EXPECT_TRUE(terminal.wait_until([&] { return peer.connections() >= before + 4; }));
    // Without the limit at 1 this would end below 0 and passes would follow without a pause.
    press_often(terminal, '-', 50);
    terminal.type("+-");
    const size_t then = peer.connections();
    terminal.pump(milliseconds{1500});
    EXPECT_LE(peer.connections(), then + 6);
    expect_clean_end(terminal);
}

TEST(Interval, WithALongOneASwitchLeavesAnEmptyFrame) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the end of that pass
    press_often(terminal, '+', 59);
    const size_t before = peer.connections();
    ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= before + 2; }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the end of that pass
    terminal.press(Key::kF6);
    terminal.press(Key::kF2);
    ASSERT_TRUE(terminal.wait_until([&] { return shows_empty_frame(terminal); }))
        << terminal.text();
    terminal.pump(milliseconds{2000});
    EXPECT_TRUE(shows_empty_frame(terminal)) << terminal.text();
    EXPECT_EQ(peer.connections(), before + 2);
}

TEST(Interval, F12WaitsForTheEndOfALongOne) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the end of that pass
    press_often(terminal, '+', 5);
    const size_t before = peer.connections();
    ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= before + 2; }));
    ASSERT_TRUE(terminal.wait_for_rest()); // an end within the pass would wait for nothing
    terminal.press(Key::kF12);
    EXPECT_FALSE(terminal.wait_for_exit(milliseconds{3000}).has_value());
    expect_ended_cleanly(terminal);
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
    terminal.type("qQ0x \x01\xff");
    terminal.pump(milliseconds{1500});
    EXPECT_TRUE(shows_figures(terminal)) << terminal.text();
    expect_clean_end(terminal);
}

TEST(RefreshThread, EachPassAsksForTheStripAndForTheList) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down()); // one more pass has begun and ended since
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

// Nobody listens, so the first pass draws at once, while the main thread still prepares itself.
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
        const size_t before = fixture.strips();
        const harness::Deadline deadline(harness::kPatience);
        while (fixture.strips() == before && !deadline.passed()) {
            fixture.terminal.type("12\x7f\x7f");
            fixture.terminal.pump(milliseconds{20});
        }
        fixture.terminal.type("\x15q\r");
        ASSERT_TRUE(fixture.wait_for_screen(entry)) << fixture.terminal.raw_output();
    }
    expect_clean_end(fixture.terminal);
}

// Many screen switches while passes run: every frame stays whole and the figures come back.
TEST(RefreshThread, FastSwitchingLeavesNoWrongCell) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_until([&] { return shows_figures(terminal); }));
    const harness::Snapshot before = terminal.screen().snapshot();
    for (int i = 0; i < 40; i++) {
        terminal.press(i % 2 == 0 ? Key::kF6 : Key::kF2);
        terminal.pump(milliseconds{60});
    }
    EXPECT_TRUE(terminal.wait_until([&] { return terminal.screen().snapshot() == before; }))
        << terminal.text();
}

} // namespace
} // namespace zrp
