// The ways from screen to screen, through the dialogs and past them.

#include <fstream>

#include "tests/terminal/house.h"
#include "tests/terminal/workplace.h"

namespace zrp {
namespace {

using stage::milliseconds;

struct Move {
    const Place& from;
    const char* keyName;
    Key key;
    const Place& to;
};

std::ostream& operator<<(std::ostream& out, const Move& move) {
    return out << move.from.name << ' ' << move.keyName;
}

class ScreenMove : public testing::TestWithParam<Move> {};

TEST_P(ScreenMove, LeadsToTheNeighbour) {
    ZRP_NEEDS_ROOT();
    const Move& move = GetParam();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.show(move.from)) << house.terminal.text();
    house.terminal.press(move.key);
    if (move.to.prompt != nullptr) {
        EXPECT_TRUE(house.wait_for_dialog(move.to)) << house.terminal.text();
    } else {
        EXPECT_TRUE(house.wait_for_screen(move.to)) << house.terminal.text();
    }
    expect_clean_end(house.terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ScreenMove,
    testing::Values(Move{kGeneral, "Tab", Key::kTab, kVolume},
                    Move{kGeneral, "Right", Key::kRight, kVolume},
                    Move{kVolume, "Tab", Key::kTab, kConnection},
                    Move{kConnection, "Tab", Key::kTab, kDiagnostics},
                    Move{kDiagnostics, "Tab", Key::kTab, kParameters},
                    Move{kParameters, "Tab", Key::kTab, kVersion},
                    Move{kVersion, "Tab", Key::kTab, kGeneral},
                    Move{kVersion, "Right", Key::kRight, kGeneral},
                    Move{kGeneral, "ShiftTab", Key::kShiftTab, kVersion},
                    Move{kGeneral, "Left", Key::kLeft, kVersion},
                    Move{kVolume, "ShiftTab", Key::kShiftTab, kGeneral},
                    Move{kConnection, "ShiftTab", Key::kShiftTab, kVolume},
                    Move{kDiagnostics, "ShiftTab", Key::kShiftTab, kConnection},
                    Move{kParameters, "ShiftTab", Key::kShiftTab, kDiagnostics},
                    Move{kParameters, "Left", Key::kLeft, kDiagnostics},
                    Move{kVersion, "ShiftTab", Key::kShiftTab, kParameters}),
    [](const auto& move) { return std::string(move.param.from.name) + "_" + move.param.keyName; });

// The screens that the chain passes are never switched to: nobody asks for their figures.
void expect_dialogs_only(const House& house) {
    for (const char* command : {"volumeInformation", "connectionInformationTag", "diagnostics"}) {
        EXPECT_TRUE(house.daemon->requests(command).empty()) << command;
    }
}

TEST(ScreenChain, TabLeadsThroughAllThreeDialogsToParameters) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    for (const Place& dialog : kDialogs) {
        house.terminal.press(Key::kTab);
        ASSERT_TRUE(house.wait_for_dialog(dialog)) << dialog.name << house.terminal.text();
    }
    house.terminal.press(Key::kTab);
    EXPECT_TRUE(house.wait_for_screen(kParameters)) << house.terminal.text();
    expect_dialogs_only(house);
    expect_clean_end(house.terminal);
}

TEST(ScreenChain, ShiftTabLeadsBackThroughAllThreeDialogsToGeneral) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.show(kParameters));
    for (const Place& dialog : {kDiagnostics, kConnection, kVolume}) {
        house.terminal.press(Key::kShiftTab);
        ASSERT_TRUE(house.wait_for_dialog(dialog)) << dialog.name << house.terminal.text();
    }
    house.terminal.press(Key::kShiftTab);
    EXPECT_TRUE(house.wait_for_screen(kGeneral)) << house.terminal.text();
    EXPECT_EQ(house.terminal.eye().find_row(kParameters.shown), -1);
    expect_dialogs_only(house);
    expect_clean_end(house.terminal);
}

TEST(ScreenChain, QuittingTheVolumeDialogAfterTabOnGeneralLeavesGeneralShown) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    house.terminal.press(Key::kTab);
    ASSERT_TRUE(house.wait_for_dialog(kVolume));
    house.terminal.type("q\r");
    ASSERT_TRUE(house.wait_for_screen(kGeneral));
    house.daemon->answer("serverStatistics", {statistics(parm("figure", "2"))});
    EXPECT_TRUE(house.terminal.wait_for("figure: 2")) << house.terminal.text();
    expect_dialogs_only(house);
}

// No pass comes in between: what shows is what the way itself left in the main window.
TEST(ScreenChain, TheWayForwardOpensItsDialogOverTheOldContents) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.slow_down());
    const stage::Snapshot before = house.terminal.eye().snapshot();
    house.terminal.press(Key::kTab);
    ASSERT_TRUE(house.wait_for_dialog(kVolume));
    house.terminal.type("q\r");
    EXPECT_TRUE(house.terminal.wait_until([&] {
        return house.terminal.eye().snapshot() == before;
    })) << house.terminal.text();
    EXPECT_EQ(house.asked_since(), 1U); // the dialog's list
}

TEST(ScreenChain, TheWayBackClearsTheMainWindowFirst) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.show(kParameters));
    ASSERT_TRUE(house.slow_down());
    house.terminal.press(Key::kShiftTab);
    ASSERT_TRUE(house.wait_for_dialog(kDiagnostics));
    house.terminal.type("q\r");
    ASSERT_TRUE(house.terminal.wait_until([&] { return house.dialog_is_closed(kDiagnostics); }));
    ASSERT_TRUE(house.terminal.wait_for_rest());
    const std::string empty = std::string(" ") + kVertical + std::string(76, ' ') + kVertical;
    for (int row = 6; row < 19; row++) {
        EXPECT_EQ(house.terminal.row(row), empty) << house.terminal.text();
    }
    EXPECT_EQ(house.terminal.cell(5, 1).text, kTopLeft);
    EXPECT_EQ(house.asked_since(), 0U);
}

class ShownScreen : public testing::TestWithParam<Place> {};

TEST_P(ShownScreen, ItsOwnKeyDoesNothing) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.show(GetParam()));
    ASSERT_TRUE(house.slow_down());
    const stage::Snapshot before = house.terminal.eye().snapshot();
    house.terminal.press(GetParam().key);
    ASSERT_TRUE(
        house.terminal.wait_for_rest()); // an emptied window would stand until the next pass
    EXPECT_EQ(house.terminal.eye().snapshot(), before) << house.terminal.text();
}

INSTANTIATE_TEST_SUITE_P(WithoutDialog, ShownScreen,
                         testing::Values(kGeneral, kParameters, kVersion),
                         [](const auto& place) { return std::string(place.param.name); });

class InDialog : public testing::TestWithParam<Place> {};

TEST_P(InDialog, F1ClosesItAndLeavesTheScreenShownBefore) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.open_dialog(GetParam()));
    house.terminal.press(Key::kF1);
    EXPECT_TRUE(house.wait_for_screen(kGeneral)) << house.terminal.text();
    expect_dialogs_only(house);
    expect_clean_end(house.terminal);
}

TEST_P(InDialog, HomeLeadsToGeneral) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.show(kParameters));
    ASSERT_TRUE(house.open_dialog(GetParam()));
    house.terminal.press(Key::kHome);
    EXPECT_TRUE(house.wait_for_screen(kGeneral)) << house.terminal.text();
    EXPECT_EQ(house.terminal.eye().find_row(kParameters.shown), -1);
    expect_clean_end(house.terminal);
}

TEST_P(InDialog, TheUpTimeStripMovesOn) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.open_dialog(GetParam()));
    for (const char* seconds : {"20", "21"}) {
        house.daemon->answer("serverStatistics",
                             {statistics(parm("figure", "2") + up_time(seconds))});
        EXPECT_TRUE(house.terminal.wait_for_text(kStripTextRow, kUpTimeColumn,
                                                 std::string(seconds) + " Seconds"))
            << house.terminal.text();
    }
    EXPECT_FALSE(house.dialog_is_closed(GetParam()));
    EXPECT_EQ(house.terminal.eye().find_row("figure: 2"), -1);
    expect_clean_end(house.terminal);
}

// Both threads draw: the typed line, and the strip in a length that changes with every pass.
TEST_P(InDialog, TypingFastWhileTheStripIsRedrawnLeavesNoWrongCell) {
    ZRP_NEEDS_ROOT();
    House house;
    ASSERT_TRUE(house.begin());
    ASSERT_TRUE(house.open_dialog(GetParam()));
    const stage::Snapshot before = house.terminal.eye().snapshot();
    std::vector<std::string> replies;
    for (int i = 0; i < 20; i++) {
        replies.push_back(statistics(up_time(i % 2 == 0 ? "90061" : "1")));
    }
    house.daemon->answer("serverStatistics", replies);
    const size_t first = house.strips();
    const stage::Deadline deadline(stage::kPatience);
    while (house.strips() < first + 4 && !deadline.passed()) {
        house.terminal.type("1234567890");
        house.terminal.pump(milliseconds{5});
        house.terminal.type(std::string(10, '\x7f'));
        house.terminal.pump(milliseconds{5});
    }
    house.daemon->answer("serverStatistics", {statistics(up_time("9"))});
    EXPECT_TRUE(house.terminal.wait_until([&] {
        return house.terminal.eye().snapshot() == before;
    })) << house.terminal.text();
    expect_clean_end(house.terminal);
}

INSTANTIATE_TEST_SUITE_P(Dialogs, InDialog, testing::ValuesIn(kDialogs),
                         [](const auto& place) { return std::string(place.param.name); });

// The exit key that ncurses knows stands on no usual keyboard: a terminal that has one is made up.
class ExitKey : public testing::Test {
protected:
    static constexpr const char* kBytes = "\x1b[57~";

    void SetUp() override {
        const std::filesystem::path source = workplace.path / "source";
        std::ofstream(source) << "zrptop-exit|xterm with an exit key,\n"
                                 "\tkext=\\E[57~, use=xterm-256color,\n";
        stage::ChildProcess compiler({.arguments = {"tic", "-x", "-o", workplace.path, source}});
        ASSERT_EQ(compiler.wait(), ExitStatus{});
    }

    TerminalOptions options() {
        TerminalOptions all = monitor_in({"TERMINFO=" + workplace.path.string()});
        all.term = "zrptop-exit";
        return all;
    }

    Workplace workplace;
};

TEST_F(ExitKey, EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    House house(options());
    ASSERT_TRUE(house.begin());
    house.terminal.type(kBytes);
    expect_ended_cleanly(house.terminal);
}

TEST_F(ExitKey, EndsTheProgramInADialog) {
    ZRP_NEEDS_ROOT();
    for (const Place& dialog : kDialogs) {
        House house(options());
        ASSERT_TRUE(house.begin());
        ASSERT_TRUE(house.open_dialog(dialog));
        house.terminal.type(kBytes);
        expect_ended_cleanly(house.terminal);
    }
}

} // namespace
} // namespace zrp
