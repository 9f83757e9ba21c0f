// The dialog of the Diagnostics screen.
#include "tests/terminal/diagnostics_fixture.h"

namespace zrp::diagnostics_dialog_test {
namespace {

using namespace diagnostics_fixture;

using DiagnosticsDialog = DiagnosticsTest;

TEST_F(DiagnosticsDialog, ShowsItsMenuAndPrompt) {
    ASSERT_TRUE(open_dialog(terminal)) << terminal.text();
    const char* lines[] = {
        "    View Diagnostics",
        "         1 - Directory Cache             11 zrp2bks Manage I/F",
        "         2 - Communications              12 zrp2bks Requests",
        "         3 - IPC                         13 zrp2bks IPC",
        "         4 - Error counters              14 zrp2bks KVQ events",
        "         5 - Trustees                    15 zrp2bks Volumes",
        "         6 - BKS Events                  16 zrp2bks User/Directory quotas",
        "         7 - Deleted files               17 zrp2bks Deleted files",
        "         8 - User/Directory quotas       18 zrp2bks Trustees",
        "",
        "Enter selection ?"};
    for (int line = 1; line <= 11; line++) {
        std::string text = inside(terminal, line);
        text.erase(text.find_last_not_of(' ') + 1);
        EXPECT_EQ(text, lines[line - 1]) << line;
    }
    EXPECT_EQ(terminal.cell(kTop + 13, kLeft).text, kBottomLeft);
}

TEST(DiagnosticsDialogSmall, StaysInsideItsWindowOnTheSmallestTerminal) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor(25, 40));
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(open_dialog(terminal));
    EXPECT_EQ(terminal.screen().text_at(kTop + 2, 2, 37),
              "         1 - Directory Cache        " + std::string(kVertical));
    terminal.type("1\r");
    ASSERT_TRUE(terminal.wait_for("ZRP Server Directory Cache"));
    ASSERT_TRUE(terminal.wait_for("normal Opens"));
    for (int line = 1; line <= 13; line++) {
        EXPECT_EQ(terminal.cell(kTop + line, 38).text, kVertical) << line;
    }
    expect_clean_end(terminal);
}

TEST_F(DiagnosticsDialog, AnEmptyLineOrQKeepsTheScreen) {
    for (const char* text : {"", "q", "Q1", "quit"}) {
        ASSERT_TRUE(choose(terminal, text)) << text;
        ASSERT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << text;
    }
    ASSERT_TRUE(wait_for_whole_pass());
    EXPECT_EQ(daemons.asked_main() + daemons.asked_storage(), 0U);
}

struct SpecialKey {
    const char* name;
    Key key;
    const char* shown; // on the screen that it leads to
};

std::ostream& operator<<(std::ostream& out, const SpecialKey& key) {
    return out << key.name;
}

class DiagnosticsDialogKey : public DiagnosticsTest,
                             public testing::WithParamInterface<SpecialKey> {};

TEST_P(DiagnosticsDialogKey, LeadsToItsScreen) {
    daemons.main.answer("listConnections", {"<zrpConsoleReply/>"});
    ASSERT_TRUE(show_figure());
    ASSERT_TRUE(open_dialog(terminal));
    terminal.type("3"); // is discarded
    terminal.press(GetParam().key);
    ASSERT_TRUE(terminal.wait_until([&] { return !dialog_is_open(terminal); })) << terminal.text();
    EXPECT_TRUE(terminal.wait_for(GetParam().shown)) << terminal.text();
    EXPECT_EQ(daemons.asked_main(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, DiagnosticsDialogKey,
    testing::Values(SpecialKey{"ShiftTab", Key::kShiftTab, "Enter connection number"},
                    SpecialKey{"Left", Key::kLeft, "Enter connection number"},
                    SpecialKey{"PageUp", Key::kPageUp, "Enter connection number"},
                    SpecialKey{"F4", Key::kF4, "Enter connection number"},
                    SpecialKey{"F1", Key::kF1, "figure: 111"},
                    SpecialKey{"F11", Key::kF11, "figure: 111"},
                    SpecialKey{"Up", Key::kUp, "figure: 111"},
                    SpecialKey{"F2", Key::kF2, "figure: 111"},
                    SpecialKey{"Home", Key::kHome, "figure: 111"},
                    SpecialKey{"F7", Key::kF7, "ZRP Server Components"}),
    [](const auto& key) { return std::string(key.param.name); });

class DiagnosticsDialogForward : public DiagnosticsTest,
                                 public testing::WithParamInterface<SpecialKey> {};

TEST_P(DiagnosticsDialogForward, LeadsToParameters) {
    ASSERT_TRUE(show_figure());
    ASSERT_TRUE(open_dialog(terminal));
    terminal.press(GetParam().key);
    ASSERT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << terminal.text();
    ASSERT_TRUE(open_dialog(terminal));
    terminal.press(Key::kF2);
    EXPECT_TRUE(terminal.wait_for("figure: 111")) << terminal.text();
}

INSTANTIATE_TEST_SUITE_P(Keys, DiagnosticsDialogForward,
                         testing::Values(SpecialKey{"Tab", Key::kTab, ""},
                                         SpecialKey{"Right", Key::kRight, ""},
                                         SpecialKey{"PageDown", Key::kPageDown, ""},
                                         SpecialKey{"F6", Key::kF6, ""}),
                         [](const auto& key) { return std::string(key.param.name); });

TEST_F(DiagnosticsDialog, F5OpensItAgainAndF12EndsTheProgram) {
    ASSERT_TRUE(open_dialog(terminal));
    terminal.type("12");
    ASSERT_TRUE(terminal.wait_for_text(kPromptRow, kLabelColumn + 18, "12"));
    terminal.press(Key::kF5);
    ASSERT_TRUE(terminal.wait_for_text(kPromptRow, kLabelColumn, "Enter selection ?    "));
    expect_clean_end(terminal);
}

TEST_F(DiagnosticsDialog, ASignalEndsTheProgram) {
    ASSERT_TRUE(open_dialog(terminal));
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
}

} // namespace
} // namespace zrp::diagnostics_dialog_test
