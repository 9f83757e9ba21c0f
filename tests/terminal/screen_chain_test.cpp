// Moving from screen to screen, through the dialogs and past them.

#include "tests/terminal/exit_key.h"
#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::screen_chain_test {
namespace {

struct Move {
    ScreenCase from;
    const char* keyName;
    Key key;
    ScreenCase to;
};

std::ostream& operator<<(std::ostream& out, const Move& move) {
    return out << move.from.name << ' ' << move.keyName;
}

class ScreenMove : public testing::TestWithParam<Move> {};

TEST_P(ScreenMove, LeadsToTheNeighbour) {
    ZRP_NEEDS_ROOT();
    const Move& move = GetParam();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(move.from)) << fixture.terminal.text();
    fixture.terminal.press(move.key);
    if (move.to.prompt != nullptr) {
        EXPECT_TRUE(fixture.wait_for_dialog(move.to)) << fixture.terminal.text();
    } else {
        EXPECT_TRUE(fixture.wait_for_screen(move.to)) << fixture.terminal.text();
    }
    expect_clean_end(fixture.terminal);
}

std::vector<Move> moves() {
    const ScreenCase& last = *std::rbegin(kInOrderOfTab);
    std::vector<Move> all = {{kGeneral, "Right", Key::kRight, kVolume},
                             {last, "Right", Key::kRight, kGeneral},
                             {kGeneral, "Left", Key::kLeft, last},
                             {kParameters, "Left", Key::kLeft, kDiagnostics}};
    const ScreenCase* before = &last;
    for (const ScreenCase& screen : kInOrderOfTab) {
        all.push_back({*before, "Tab", Key::kTab, screen});
        all.push_back({screen, "ShiftTab", Key::kShiftTab, *before});
        before = &screen;
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Keys, ScreenMove, testing::ValuesIn(moves()), [](const auto& move) {
    return std::string(move.param.from.name) + "_" + move.param.keyName;
});

// The screens that the chain passes are not switched to: their figures are not requested.
void expect_dialogs_only(const MonitorFixture& fixture) {
    for (const char* command : {"volumeInformation", "connectionInformationTag", "diagnostics"}) {
        EXPECT_TRUE(fixture.daemon->requests(command).empty()) << command;
    }
}

TEST(ScreenChain, TabLeadsThroughAllThreeDialogsToParameters) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    for (const ScreenCase& dialog : kDialogs) {
        fixture.terminal.press(Key::kTab);
        ASSERT_TRUE(fixture.wait_for_dialog(dialog)) << dialog.name << fixture.terminal.text();
    }
    fixture.terminal.press(Key::kTab);
    EXPECT_TRUE(fixture.wait_for_screen(kParameters)) << fixture.terminal.text();
    expect_dialogs_only(fixture);
    expect_clean_end(fixture.terminal);
}

TEST(ScreenChain, ShiftTabLeadsBackThroughAllThreeDialogsToGeneral) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(kParameters));
    for (const ScreenCase& dialog : {kDiagnostics, kConnection, kVolume}) {
        fixture.terminal.press(Key::kShiftTab);
        ASSERT_TRUE(fixture.wait_for_dialog(dialog)) << dialog.name << fixture.terminal.text();
    }
    fixture.terminal.press(Key::kShiftTab);
    EXPECT_TRUE(fixture.wait_for_screen(kGeneral)) << fixture.terminal.text();
    EXPECT_EQ(fixture.terminal.screen().find_row(kParameters.shown), -1);
    expect_dialogs_only(fixture);
    expect_clean_end(fixture.terminal);
}

TEST(ScreenChain, QuittingTheVolumeDialogAfterTabOnGeneralShowsGeneral) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.press(Key::kTab);
    ASSERT_TRUE(fixture.wait_for_dialog(kVolume));
    fixture.terminal.type("q\r");
    ASSERT_TRUE(fixture.wait_for_screen(kGeneral));
    fixture.daemon->answer("serverStatistics", {statistics(parm("figure", "2"))});
    EXPECT_TRUE(fixture.terminal.wait_for("figure: 2")) << fixture.terminal.text();
    expect_dialogs_only(fixture);
}

// Without a pass in between: what is shown is what the key itself left in the main window.
TEST(ScreenChain, TabOpensTheDialogOverTheOldContents) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down());
    const harness::Snapshot before = fixture.terminal.screen().snapshot();
    fixture.terminal.press(Key::kTab);
    ASSERT_TRUE(fixture.wait_for_dialog(kVolume));
    fixture.terminal.type("q\r");
    EXPECT_TRUE(fixture.terminal.wait_until([&] {
        return fixture.terminal.screen().snapshot() == before;
    })) << fixture.terminal.text();
    EXPECT_EQ(fixture.asked_since(), 1U); // the dialog's list
}

TEST(ScreenChain, ShiftTabClearsTheMainWindowFirst) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(kParameters));
    ASSERT_TRUE(fixture.slow_down());
    fixture.terminal.press(Key::kShiftTab);
    ASSERT_TRUE(fixture.wait_for_dialog(kDiagnostics));
    fixture.terminal.type("q\r");
    ASSERT_TRUE(
        fixture.terminal.wait_until([&] { return fixture.dialog_is_closed(kDiagnostics); }));
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    const std::string empty = std::string(" ") + kVertical + std::string(76, ' ') + kVertical;
    for (int row = 6; row < 19; row++) {
        EXPECT_EQ(fixture.terminal.row(row), empty) << fixture.terminal.text();
    }
    EXPECT_EQ(fixture.terminal.cell(5, 1).text, kTopLeft);
    EXPECT_EQ(fixture.asked_since(), 0U);
}

class ShownScreen : public testing::TestWithParam<ScreenCase> {};

TEST_P(ShownScreen, ItsOwnKeyDoesNothing) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(GetParam()));
    ASSERT_TRUE(fixture.slow_down());
    const harness::Snapshot before = fixture.terminal.screen().snapshot();
    fixture.terminal.press(GetParam().key);
    ASSERT_TRUE(
        fixture.terminal.wait_for_rest()); // an emptied window would stay empty until the next pass
    EXPECT_EQ(fixture.terminal.screen().snapshot(), before) << fixture.terminal.text();
}

INSTANTIATE_TEST_SUITE_P(WithoutDialog, ShownScreen,
                         testing::Values(kGeneral, kParameters, kVersion),
                         [](const auto& screen) { return std::string(screen.param.name); });

class InDialog : public testing::TestWithParam<ScreenCase> {};

TEST_P(InDialog, F1ClosesItAndLeavesTheScreenShownBefore) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    fixture.terminal.press(Key::kF1);
    EXPECT_TRUE(fixture.wait_for_screen(kGeneral)) << fixture.terminal.text();
    expect_dialogs_only(fixture);
    expect_clean_end(fixture.terminal);
}

TEST_P(InDialog, HomeLeadsToGeneral) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(kParameters));
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    fixture.terminal.press(Key::kHome);
    EXPECT_TRUE(fixture.wait_for_screen(kGeneral)) << fixture.terminal.text();
    EXPECT_EQ(fixture.terminal.screen().find_row(kParameters.shown), -1);
    expect_clean_end(fixture.terminal);
}

TEST_P(InDialog, TheUpTimeStripIsUpdated) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    for (const char* shown : {"20", "21"}) {
        fixture.daemon->answer("serverStatistics",
                               {statistics(parm("figure", "2") + up_time(shown))});
        EXPECT_TRUE(fixture.terminal.wait_for_text(kStripTextRow, kUpTimeColumn,
                                                   std::string(shown) + " Seconds"))
            << fixture.terminal.text();
    }
    EXPECT_FALSE(fixture.dialog_is_closed(GetParam()));
    EXPECT_EQ(fixture.terminal.screen().find_row("figure: 2"), -1);
    expect_clean_end(fixture.terminal);
}

// Both threads draw: one the typed line, the other the strip, whose length changes with every pass.
TEST_P(InDialog, TypingFastWhileTheStripIsRedrawnLeavesNoWrongCell) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.open_dialog(GetParam()));
    const harness::Snapshot before = fixture.terminal.screen().snapshot();
    std::vector<std::string> replies;
    for (int i = 0; i < 20; i++) {
        replies.push_back(statistics(up_time(i % 2 == 0 ? "90061" : "1")));
    }
    fixture.daemon->answer("serverStatistics", replies);
    ASSERT_TRUE(repeat_around_passes(
        fixture.terminal, 6, 1, [&] { return fixture.strips(); },
        [&] { return type_and_erase(fixture.terminal, "1234567890", GetParam().prompt); }));
    fixture.daemon->answer("serverStatistics", {statistics(up_time("9"))});
    EXPECT_TRUE(fixture.terminal.wait_until([&] {
        return fixture.terminal.screen().snapshot() == before;
    })) << fixture.terminal.text();
    expect_clean_end(fixture.terminal);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, InDialog, testing::ValuesIn(kDialogs),
                         [](const auto& screen) { return std::string(screen.param.name); });

TEST(ExitKey, EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    MonitorFixture fixture(monitor_with_exit_key(folder));
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.type(kExitKeyBytes);
    expect_ended_cleanly(fixture.terminal);
}

TEST(ExitKey, EndsTheProgramInADialog) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    for (const ScreenCase& dialog : kDialogs) {
        MonitorFixture fixture(monitor_with_exit_key(folder));
        ASSERT_TRUE(fixture.begin());
        ASSERT_TRUE(fixture.open_dialog(dialog));
        fixture.terminal.type(kExitKeyBytes);
        expect_ended_cleanly(fixture.terminal);
    }
}

} // namespace
} // namespace zrp::screen_chain_test
