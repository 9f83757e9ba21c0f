// The dialog that chooses a volume.

#include <csignal>

#include "common/requests/volume_list.h"
#include "tests/terminal/volume_fixture.h"

namespace zrp::volume_dialog_test {
namespace {

using namespace volume_fixture;

constexpr int kFrameColumn = 78;

// The entry at a position of the list, without trailing blanks.
std::string entry(const VolumeFixture& fixture, int row, int column) {
    std::string text =
        fixture.terminal.screen().text_at(kFirstListRow + row, kListColumns[column], 20);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

bool wait_for_entry(VolumeFixture& fixture, int row, int column, const std::string& text) {
    return fixture.terminal.wait_until([&] { return entry(fixture, row, column) == text; });
}

TEST(VolumeDialog, ListsMountedVolumesInThreeColumns) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture(
        {volume_list(listed(0, "SYS") + listed(2, "DATA") + listed(7, "OFF", "0x1") +
                     listed(13, "HOME", "2") + listed(255, "LAST"))});
    ASSERT_TRUE(fixture.open_dialog()) << fixture.terminal.text();
    EXPECT_EQ(entry(fixture, 0, 0), "0. SYS");
    EXPECT_EQ(entry(fixture, 0, 1), "2. DATA");
    EXPECT_EQ(entry(fixture, 0, 2), "13. HOME");
    EXPECT_EQ(entry(fixture, 1, 0), "255. LAST");
    EXPECT_EQ(entry(fixture, 1, 1), "");
    EXPECT_EQ(fixture.terminal.cell(kDialogTop, 1).text, kTopLeft);
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, kFrameColumn).text, kBottomRight);
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kListColumns[0]),
              (harness::Cell{.text = "0", .foreground = kWhite, .background = kBlue}));
}

TEST(VolumeDialog, RequestsTheListWithoutAProcessId) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(2), "2"), volume_list(listed(2, "V2"))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.daemon->requests("listVolumes"),
              (std::vector<std::string>{
                  "<zrpConsoleRequest><listVolumes></listVolumes></zrpConsoleRequest>",
                  "<zrpConsoleRequest><listVolumes><startIndex>2</startIndex></listVolumes>"
                  "</zrpConsoleRequest>"}));
    EXPECT_EQ(entry(fixture, 0, 2), "2. V2");
}

TEST(VolumeDialog, AServerWithoutAMountedVolumeOpensNoDialog) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(1, "OFF", "0x1"))});
    ASSERT_TRUE(fixture.terminal.wait_for("figure: 1"));
    const harness::Snapshot before = fixture.terminal.screen().snapshot();
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return !fixture.daemon->requests("listVolumes").empty(); }));
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    EXPECT_EQ(fixture.terminal.screen().snapshot(), before) << fixture.terminal.text();
}

TEST(VolumeDialog, WithoutVolumesTabOnGeneralLeavesGeneralShown) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list("")});
    ASSERT_TRUE(fixture.terminal.wait_for("figure: 1"));
    fixture.terminal.press(Key::kTab);
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return !fixture.daemon->requests("listVolumes").empty(); }));
    fixture.daemon->answer("serverStatistics", {statistics(parm("figure", "2"))});
    EXPECT_TRUE(fixture.terminal.wait_for("figure: 2")) << fixture.terminal.text();
}

struct NextIndex {
    const char* name;
    const char* text;
};

class LastPage : public testing::TestWithParam<NextIndex> {};

TEST_P(LastPage, EndsThePaging) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS"), GetParam().text)});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.daemon->requests("listVolumes").size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(StartIndex, LastPage,
                         testing::Values(NextIndex{"Missing", ""}, NextIndex{"Zero", "0"},
                                         NextIndex{"MinusOne", "-1"}),
                         [](const auto& index) { return std::string(index.param.name); });

class FurtherPage : public testing::TestWithParam<NextIndex> {};

TEST_P(FurtherPage, IsRequestedFromTheIndexInTheReply) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture(
        {volume_list(listed(0, "SYS"), GetParam().text), volume_list(listed(1, "DATA"))});
    ASSERT_TRUE(fixture.open_dialog());
    ASSERT_EQ(fixture.daemon->requests("listVolumes").size(), 2U);
    EXPECT_EQ(fixture.daemon->requests("listVolumes").at(1),
              "<zrpConsoleRequest><listVolumes><startIndex>" + std::string(GetParam().text) +
                  "</startIndex></listVolumes></zrpConsoleRequest>");
    EXPECT_EQ(entry(fixture, 0, 1), "1. DATA");
}

INSTANTIATE_TEST_SUITE_P(StartIndex, FurtherPage,
                         testing::Values(NextIndex{"One", "1"}, NextIndex{"Large", "70000"},
                                         NextIndex{"Negative", "-7"}),
                         [](const auto& index) { return std::string(index.param.name); });

TEST(VolumeDialog, AServerErrorOnTheSecondPageKeepsTheVolumesOfTheFirst) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS"), "1"), server_error(-601)});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.daemon->requests("listVolumes").size(), 2U);
    EXPECT_EQ(entry(fixture, 0, 0), "0. SYS");
}

TEST(VolumeDialog, AFailedExchangeOnTheSecondPageOpensNoDialog) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS"), "1")});
    fixture.daemon->answer_raw("listVolumes",
                               {reply(volume_list(listed(0, "SYS"), "1")), reply("", 5)});
    ASSERT_TRUE(wait_for_windows(fixture.terminal));
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return fixture.daemon->requests("listVolumes").size() == 2; }));
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    EXPECT_EQ(fixture.terminal.screen().find_row("Enter volume"), -1) << fixture.terminal.text();
}

TEST(VolumeDialog, VolumeNumbersOutsideTheTableAreIgnored) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(5, "GOOD") + listed(256, "A") + listed(-1, "B") +
                                       listed(2147483647, "C") + listed(-2147483648, "D") +
                                       listed(4294967301, "E") + listed(-4294967290, "F"))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(entry(fixture, 0, 0), "5. GOOD");
    EXPECT_EQ(entry(fixture, 0, 1), "");
}

// Only the last column of a wide terminal shows that much of a name.
TEST(VolumeDialog, ANameTooLongForTheTableIsCutBetweenCharacters) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS") + listed(1, "DATA") +
                                       listed(2, std::string(62, 'x') + "\u00fcyz"))},
                          25, 130);
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.terminal.screen().text_at(kFirstListRow, kListColumns[2], 70),
              "2. " + std::string(62, 'x') + "     ");
}

TEST(VolumeDialog, ANameIsCutToItsColumnWithABlankBeforeTheNextOne) {
    ZRP_NEEDS_ROOT();
    const std::string name(63, 'x');
    VolumeFixture fixture({volume_list(listed(0, name) + listed(10, name) + listed(200, name))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.terminal.screen().text_at(kFirstListRow, kListColumns[0], 76),
              "0. " + std::string(20, 'x') + " 10. " + std::string(20, 'x') + " 200. " +
                  std::string(22, 'x'));
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kFrameColumn).text, kVertical);
}

TEST(VolumeDialog, ANameIsCutByTheCellsThatItTakes) {
    ZRP_NEEDS_ROOT();
    std::string name;
    for (int i = 0; i < 20; i++) {
        name += "\u6f22"; // of two cells
    }
    VolumeFixture fixture({volume_list(listed(0, name) + listed(1, "x" + name))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kListColumns[0] + 21).text, "\u6f22");
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kListColumns[0] + 23).text, " ");
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kListColumns[1]).text, "1");
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kListColumns[1] + 22).text, "\u6f22");
    EXPECT_EQ(fixture.terminal.cell(kFirstListRow, kListColumns[1] + 24).text, " ");
}

TEST(VolumeDialog, ThePromptBeginsWithAnEmptyFieldAfterARefusedNumber) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(7, "SEVEN"))});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type("300");
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kInputColumn, "300 "));
    fixture.terminal.type("\r");
    EXPECT_TRUE(fixture.terminal.wait_for_text(
        kPromptRow, kInputColumn,
        std::string(static_cast<size_t>(kFrameColumn - kInputColumn), ' ')))
        << fixture.terminal.text();
}

TEST(VolumeDialog, ThePromptBlanksTheEntriesOfALaterPageInItsRow) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(100))});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type("+\r");
    ASSERT_TRUE(wait_for_entry(fixture, 10, 2, "56. V56")) << fixture.terminal.text();
    EXPECT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn,
                                               std::string(kVolumePrompt) + std::string(20, ' ')))
        << fixture.terminal.text();
}

// On the smallest terminal the prompt leaves room for six characters.
TEST(VolumeDialog, ThePromptBeginsWithAnEmptyFieldOnANarrowTerminal) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(7, "SEVEN"))}, 25, 40);
    ASSERT_TRUE(wait_for_windows(fixture.terminal));
    fixture.terminal.press(Key::kF3);
    const std::string start = std::string(kVolumePrompt).substr(0, 30);
    EXPECT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, start + "      "))
        << fixture.terminal.text();
    fixture.terminal.type("123456789");
    EXPECT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, start + "456789"))
        << fixture.terminal.text();
}

TEST(VolumeDialog, ControlCharactersOfANameDoNotReachTheTerminal) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "A\x1b[2J\nB"))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(entry(fixture, 0, 0), "0. A?[2J?B");
}

TEST(VolumeDialog, PlusPagesThrough25VolumesAndWrapsToTheTop) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(25))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(entry(fixture, 0, 0), "0. V0");
    EXPECT_EQ(entry(fixture, 7, 2), "23. V23");
    fixture.terminal.type("+\r");
    ASSERT_TRUE(wait_for_entry(fixture, 0, 0, "24. V24")) << fixture.terminal.text();
    EXPECT_TRUE(wait_for_entry(fixture, 0, 1, ""));
    fixture.terminal.type("+\r");
    ASSERT_TRUE(wait_for_entry(fixture, 0, 0, "0. V0")) << fixture.terminal.text();
    EXPECT_TRUE(wait_for_entry(fixture, 7, 2, "23. V23")) << fixture.terminal.text();
}

// The prompt covers most of the ninth row; the rows below it show up to the frame.
TEST(VolumeDialog, LaterPagesContinueBelowThePromptDownToTheFrame) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(100))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(entry(fixture, 9, 0), "");
    fixture.terminal.type("+\r");
    ASSERT_TRUE(wait_for_entry(fixture, 10, 2, "56. V56")) << fixture.terminal.text();
    EXPECT_EQ(entry(fixture, 0, 0), "24. V24");
    EXPECT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt));
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, 10).text, "\u2500");
    // 48 were drawn, although fewer are visible.
    fixture.terminal.type("+\r");
    EXPECT_TRUE(wait_for_entry(fixture, 0, 0, "48. V48")) << fixture.terminal.text();
}

TEST(VolumeDialog, TheNextPageStartsAtTheNumberOfEntriesDrawn) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(50, 3))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(entry(fixture, 7, 2), "69. V69"); // the 24th
    fixture.terminal.type("+\r");
    EXPECT_TRUE(wait_for_entry(fixture, 0, 0, "24. V24")) << fixture.terminal.text();
}

TEST(VolumeDialog, MinusOnTheTopPageChangesNothing) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(40))});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type("-\r9999");
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kInputColumn, "9999"));
    EXPECT_EQ(entry(fixture, 0, 0), "0. V0");
    EXPECT_EQ(entry(fixture, 9, 0), ""); // a redrawn page would continue here
}

TEST(VolumeDialog, MinusReturnsToTheTopWithALongPage) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(40))});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type("+\r");
    ASSERT_TRUE(wait_for_entry(fixture, 0, 0, "24. V24"));
    fixture.terminal.type("-\r");
    ASSERT_TRUE(wait_for_entry(fixture, 0, 0, "0. V0"));
    EXPECT_TRUE(wait_for_entry(fixture, 9, 0, "27. V27")) << fixture.terminal.text();
}

class RefusedNumber : public testing::TestWithParam<const char*> {};

// The listed number typed afterwards is accepted: the dialog is still open.
TEST_P(RefusedNumber, PromptsAgain) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(7, "SEVEN") + listed(8, "OFF", "0x1"))});
    fixture.daemon->answer("volumeInformation", {volume_information({})});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type(std::string(GetParam()) + "\r");
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    EXPECT_EQ(fixture.terminal.screen().text_at(kPromptRow, kPromptColumn, 55), kVolumePrompt);
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, 1).text, kBottomLeft);
    fixture.terminal.type("7\r");
    EXPECT_TRUE(fixture.terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: SEVEN"))
        << fixture.terminal.text();
}

INSTANTIATE_TEST_SUITE_P(Lines, RefusedNumber,
                         testing::Values("300", "256", "8", "0", "x", " -1", " -249", "4294967303",
                                         "99999999999999999999999999999999"));

TEST(VolumeDialog, TheText7abcSelects7) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(7, "SEVEN"))});
    ASSERT_TRUE(fixture.choose("7abc", {}));
    EXPECT_TRUE(fixture.terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: SEVEN"));
}

class VolumeQuitLine : public testing::TestWithParam<const char*> {};

TEST_P(VolumeQuitLine, LeavesTheScreenShownBefore) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS"))});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type(std::string(GetParam()) + "\r");
    EXPECT_TRUE(fixture.terminal.wait_for("figure: 1")) << fixture.terminal.text();
    EXPECT_EQ(fixture.terminal.screen().find_row("Enter volume"), -1);
    EXPECT_EQ(fixture.terminal.cell(19, 1).text, kBottomLeft); // the main window's frame
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, 10).text, " ");
    EXPECT_TRUE(fixture.daemon->requests("volumeInformation").empty());
}

INSTANTIATE_TEST_SUITE_P(Lines, VolumeQuitLine, testing::Values("q", "Q", "", "quit"));

struct KeyCase {
    const char* name;
    Key key;
    const char* shown; // on the screen that the key leads to
};

class VolumeDialogKey : public testing::TestWithParam<KeyCase> {};

constexpr const char* kLogLevel = "LOG_LEVEL";

// Opened on Parameters, so that keys that lead to General change the screen. The digits before the
// key are discarded.
TEST_P(VolumeDialogKey, EndsTheDialogAndTakesEffect) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS") + listed(12, "TWELVE"))});
    // Both the list of one setting and the value of that setting.
    fixture.daemon->answer("set", {"<zrpConsoleReply><set><name>LOG_LEVEL</name>"
                                   "<string>INFO</string></set></zrpConsoleReply>"});
    ASSERT_TRUE(wait_for_windows(fixture.terminal));
    fixture.terminal.press(Key::kF6);
    ASSERT_TRUE(fixture.terminal.wait_for(kLogLevel)) << fixture.terminal.text();
    ASSERT_TRUE(fixture.open_dialog());
    ASSERT_EQ(fixture.terminal.screen().find_row(GetParam().shown), -1) << "the dialog hides it";
    fixture.terminal.type("12");
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kInputColumn, "12"));
    fixture.terminal.press(GetParam().key);
    EXPECT_TRUE(fixture.terminal.wait_for(GetParam().shown)) << fixture.terminal.text();
    EXPECT_TRUE(fixture.terminal.wait_until(
        [&] { return fixture.terminal.screen().find_row("Enter volume") == -1; }));
    EXPECT_TRUE(fixture.daemon->requests("volumeInformation").empty());
}

INSTANTIATE_TEST_SUITE_P(
    Keys, VolumeDialogKey,
    testing::Values(KeyCase{"F1", Key::kF1, kLogLevel}, KeyCase{"F2", Key::kF2, "figure: 1"},
                    KeyCase{"F6", Key::kF6, kLogLevel}, KeyCase{"Home", Key::kHome, "figure: 1"},
                    KeyCase{"ShiftTab", Key::kShiftTab, "figure: 1"},
                    KeyCase{"Left", Key::kLeft, "figure: 1"},
                    KeyCase{"PageUp", Key::kPageUp, "figure: 1"},
                    KeyCase{"Up", Key::kUp, kLogLevel}, KeyCase{"Down", Key::kDown, kLogLevel}),
    [](const auto& key) { return std::string(key.param.name); });

TEST(VolumeDialog, F3OpensItAgainWithACurrentList) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "OLD")), volume_list(listed(0, "NEW"))});
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(entry(fixture, 0, 0), "0. OLD");
    fixture.terminal.press(Key::kF3);
    EXPECT_TRUE(wait_for_entry(fixture, 0, 0, "0. NEW")) << fixture.terminal.text();
}

TEST(VolumeDialog, F12EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS"))});
    ASSERT_TRUE(fixture.open_dialog());
    expect_clean_end(fixture.terminal);
}

TEST(VolumeDialog, ASignalEndsTheProgram) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(0, "SYS"))});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(fixture.terminal);
}

// The daemon is slow, so that the largest number of pages would take far longer than the test.
TEST(VolumeDialog, ASignalEndsAnEndlessList) {
    ZRP_NEEDS_ROOT();
    const auto daemon = VolumeFixture::prepared({volume_list("", "1")});
    PeerScript slow = daemon->script();
    slow.insert(slow.begin() + 1, pause_for(harness::milliseconds{20}));
    const ScriptedPeer peer(kMainDaemonSocket, {slow});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF3);
    ASSERT_TRUE(terminal.wait_until([&] { return daemon->requests("listVolumes").size() > 5; }));
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
    EXPECT_LT(daemon->requests("listVolumes").size(), size_t{kMaxVolumePages});
}

TEST(VolumeDialog, StaysInsideItsFrameOnTheSmallestTerminal) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(100))}, 25, 40);
    ASSERT_TRUE(wait_for_windows(fixture.terminal));
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, "Enter volume number"));
    fixture.terminal.type("+\r");
    ASSERT_TRUE(wait_for_entry(fixture, 0, 0, "24. V24")) << fixture.terminal.text();
    fixture.terminal.type("12345678901234567890");
    ASSERT_TRUE(fixture.terminal.wait_for("67890"));
    for (int row = kDialogTop + 1; row < kDialogBottom; row++) {
        EXPECT_EQ(fixture.terminal.cell(row, 1).text, kVertical) << row;
        EXPECT_EQ(fixture.terminal.cell(row, 38).text, kVertical) << row;
        EXPECT_EQ(fixture.terminal.cell(row, 0).text, " ") << row;
        EXPECT_EQ(fixture.terminal.cell(row, 39).text, " ") << row;
    }
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, 38).text, kBottomRight);
}

TEST(VolumeDialog, SpansAWideTerminal) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed_volumes(25))}, 40, 100);
    ASSERT_TRUE(fixture.open_dialog());
    EXPECT_EQ(fixture.terminal.cell(kDialogTop, 98).text, kTopRight);
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, 98).text, kBottomRight);
    fixture.terminal.type("q\r");
    EXPECT_TRUE(fixture.terminal.wait_for("figure: 1"));
    EXPECT_TRUE(fixture.terminal.wait_for_rest());
    EXPECT_EQ(fixture.terminal.cell(kDialogBottom, 98).text, kVertical); // of the main window
}

// Faulty replies: the dialog does not open, and the screen stays.
struct VolumeListFaultCase {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const VolumeListFaultCase& fault) {
    return out << fault.name;
}

class VolumeListFault : public testing::TestWithParam<VolumeListFaultCase> {};

TEST_P(VolumeListFault, OpensNoDialogAndTheNextAttemptDoes) {
    ZRP_NEEDS_ROOT();
    const std::string good = volume_list(listed(0, "SYS"));
    VolumeFixture fixture({good});
    fixture.daemon->answer_raw("listVolumes", {GetParam().bytes, reply(good)});
    ASSERT_TRUE(fixture.terminal.wait_for("figure: 1"));
    const harness::Snapshot before = fixture.terminal.screen().snapshot();
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return fixture.daemon->requests("listVolumes").size() == 1; }));
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    EXPECT_EQ(but_status_row(fixture.terminal.screen().snapshot()), but_status_row(before))
        << fixture.terminal.text();
    fixture.terminal.press(Key::kF3);
    EXPECT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, VolumeListFault,
    testing::Values(
        VolumeListFaultCase{"WrongMagic", reply_header(4, 0, 0x12345678) + "text"},
        VolumeListFaultCase{"ShortHeader", reply_header(4).substr(0, 8)},
        VolumeListFaultCase{"NoReply", ""},
        VolumeListFaultCase{"EarlyClose", reply_header(5000) + "<zrpConsoleReply><listVolumes>"},
        VolumeListFaultCase{"ZeroLength", reply_header(0)},
        VolumeListFaultCase{"ErrorStatus", reply(volume_list(listed(0, "SYS")), 5)},
        VolumeListFaultCase{"ErrorElement",
                            reply(server_error(-5) + volume_list(listed(0, "SYS")))},
        VolumeListFaultCase{"WriteError", reply("<writeResult>" + volume_list(listed(0, "SYS")))},
        VolumeListFaultCase{"UnclosedElement",
                            reply("<zrpConsoleReply><listVolumes>" + listed(0, "SYS"))},
        VolumeListFaultCase{"Noise", reply(std::string("\x00\x1b[2J<\xff<<\"", 10))}),
    [](const auto& fault) { return std::string(fault.param.name); });

} // namespace
} // namespace zrp::volume_dialog_test
