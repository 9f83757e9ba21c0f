// The dialog of the Connection screen.

#include <csignal>

#include "tests/terminal/connection_fixture.h"
#include "tests/terminal/simulator.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::connection_dialog_test {
namespace {

using namespace connection_fixture;

// The monitor on a daemon with pages of connections.
class ConnectionDialog : public testing::Test {
protected:
    void SetUp() override {
        ZRP_NEEDS_ROOT();
    }

    // False if the prompt does not appear.
    bool open(const std::vector<std::string>& pages) {
        daemon.answer(kList, pages);
        return dialog.open();
    }

    CommandAnswers daemon;
    Dialog dialog{daemon};
};

TEST_F(ConnectionDialog, ListsTheConnectionsOfAPage) {
    ASSERT_TRUE(open({page(users(1, 10))})) << dialog.terminal.text();
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(dialog.terminal.screen().text_at(kListRow + i, kListColumnOfPage, 12),
                  (std::to_string(i + 1) + ". " + user(i + 1) + "        ").substr(0, 12));
    }
    EXPECT_EQ(dialog.terminal.screen().text_at(kPromptRow, kPromptColumn, 60), kPrompt);
    EXPECT_TRUE(dialog.terminal.wait_until(
        [&] { return dialog.terminal.screen().cursor().row == kPromptRow; }));
    EXPECT_EQ(dialog.terminal.cell(kMainTop, 1).text, kTopLeft);
    EXPECT_EQ(dialog.terminal.cell(kDialogBottom, 78).text, kBottomRight);
    EXPECT_EQ(daemon.requests(kList).at(0), "<zrpConsoleRequest pid=\"" +
                                                std::to_string(dialog.terminal.child().pid()) +
                                                "\"><listConnections>\n<maxItems>10</maxItems>\n"
                                                "</listConnections></zrpConsoleRequest>");
    expect_clean_end(dialog.terminal);
}

TEST_F(ConnectionDialog, AfterAPageOfTenEndingWithStation41PlusAsksFromStation42) {
    ASSERT_TRUE(open({page(users(20, 9) + entry(41, user(41))), page(users(42, 3))}));
    dialog.answer("+");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "42. user42"));
    EXPECT_EQ(page_request(daemon, 1), "<startIndex>42</startIndex><maxItems>10</maxItems>");
    EXPECT_EQ(inside(dialog.terminal, kListRow + 3), "") << "the old page is cleared";
}

TEST_F(ConnectionDialog, APageOfNineEndsThePagingAndPlusReturnsToTheTop) {
    ASSERT_TRUE(open({page(users(1, 10)), page(users(11, 9)), page(users(1, 10))}));
    dialog.answer("+");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "11. user11"));
    dialog.answer("+");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "1. user1 "));
    EXPECT_EQ(page_request(daemon, 1), "<startIndex>11</startIndex><maxItems>10</maxItems>");
    EXPECT_EQ(page_request(daemon, 2), "<maxItems>10</maxItems>");
}

TEST_F(ConnectionDialog, MinusReturnsToTheTop) {
    ASSERT_TRUE(open({page(users(1, 10)), page(users(11, 10)), page(users(1, 10))}));
    dialog.answer("+");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "11. user11"));
    dialog.answer("-5");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "1. user1 "));
    EXPECT_EQ(page_request(daemon, 2), "<maxItems>10</maxItems>");
}

TEST_F(ConnectionDialog, AConnectionThatIsNotLoggedInIsNotListedButCounts) {
    ASSERT_TRUE(open({page(entry(1, "first") + entry(2, "NOT LOGGED IN") + users(3, 7) +
                           entry(10, "NOT LOGGED IN")),
                      page(users(11, 1))}));
    EXPECT_EQ(inside(dialog.terminal, kListRow), "  1. first");
    EXPECT_EQ(inside(dialog.terminal, kListRow + 1), "  3. user3");
    EXPECT_EQ(inside(dialog.terminal, kListRow + 7), "  9. user9");
    EXPECT_EQ(inside(dialog.terminal, kListRow + 8), "");
    dialog.answer("+");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "11. user11"));
    EXPECT_EQ(page_request(daemon, 1), "<startIndex>11</startIndex><maxItems>10</maxItems>");
}

TEST_F(ConnectionDialog, AnEntryThatCannotBeReadEndsThePage) {
    ASSERT_TRUE(open(
        {page(users(1, 2) + "<connectionTag><name>broken</name></connectionTag>" + users(4, 9))}));
    EXPECT_EQ(inside(dialog.terminal, kListRow + 1), "  2. user2");
    EXPECT_EQ(inside(dialog.terminal, kListRow + 2), "");
}

TEST_F(ConnectionDialog, OfMoreThanAPageOnlyOnePageIsTaken) {
    ASSERT_TRUE(open({page(users(1, 50)), page("")}));
    EXPECT_EQ(inside(dialog.terminal, kListRow + 9), "  10. user10");
    EXPECT_EQ(inside(dialog.terminal, kListRow + 10), "");
    dialog.answer("+");
    ASSERT_TRUE(dialog.terminal.wait_until([&] { return inside(dialog.terminal, 6).empty(); }));
    EXPECT_EQ(page_request(daemon, 1), "<startIndex>11</startIndex><maxItems>10</maxItems>");
}

TEST_F(ConnectionDialog, TheHighestStationNumberEndsThePaging) {
    ASSERT_TRUE(open({page(users(1, 9) + entry(2147483647, "last")), page(users(1, 2))}));
    dialog.answer("+");
    ASSERT_TRUE(
        dialog.terminal.wait_until([&] { return inside(dialog.terminal, kListRow + 2).empty(); }));
    EXPECT_EQ(page_request(daemon, 1), "<maxItems>10</maxItems>");
}

TEST_F(ConnectionDialog, LongNamesAreCutAtTheFrameAndCannotControlTheTerminal) {
    ASSERT_TRUE(open({page(entry(1, std::string(600, 'n')) + entry(2, "a\x1b[2Jb\xff%s%n"))}));
    EXPECT_EQ(inside(dialog.terminal, kListRow), "  1. " + std::string(71, 'n'));
    EXPECT_EQ(inside(dialog.terminal, kListRow + 1), "  2. a?[2Jb?%s%n");
    EXPECT_EQ(dialog.terminal.cell(kListRow, 78).text, kVertical);
}

TEST(ConnectionDialogOnASmallTerminal, StaysInsideItsFrame) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(users(1, 10))});
    daemon.answer(kInformation, {information(1234567, "someone")});
    Dialog dialog(daemon, monitor(25, 40));
    ASSERT_TRUE(dialog.open()) << dialog.terminal.text();
    dialog.terminal.type("1234567");
    ASSERT_TRUE(dialog.terminal.wait_for_rest());
    EXPECT_EQ(dialog.terminal.row(kDialogBottom + 1), "") << dialog.terminal.text();
    for (int row = kMainTop + 1; row < kDialogBottom; row++) {
        EXPECT_EQ(dialog.terminal.cell(row, 1).text, kVertical) << row;
        EXPECT_EQ(dialog.terminal.cell(row, 38).text, kVertical) << row;
    }
    dialog.terminal.press(Key::kEnter);
    EXPECT_TRUE(dialog.shows_title("(1234567) someone")) << dialog.terminal.text();
}

// Lines that end the dialog without a choice.
class ConnectionQuitLine : public ConnectionDialog,
                           public testing::WithParamInterface<const char*> {};

TEST_P(ConnectionQuitLine, KeepsTheScreenShownBefore) {
    daemon.answer("serverStatistics", {statistics(parm("figure", "111"))});
    ASSERT_TRUE(open({page(users(1, 3))}));
    dialog.answer(GetParam());
    ASSERT_TRUE(dialog.wait_until_closed());
    EXPECT_TRUE(dialog.terminal.wait_for_text(6, kListColumn, "figure: 111"))
        << dialog.terminal.text();
    EXPECT_TRUE(daemon.requests(kInformation).empty());
    expect_clean_end(dialog.terminal);
}

INSTANTIATE_TEST_SUITE_P(Lines, ConnectionQuitLine, testing::Values("", "q", "Q", "quit", " -1"));

TEST_F(ConnectionDialog, AListThatFailsEndsTheDialog) {
    daemon.answer("serverStatistics", {statistics(parm("figure", "111"))});
    ASSERT_TRUE(open({page(users(1, 10)), kRefusal}));
    dialog.answer("+");
    ASSERT_TRUE(dialog.wait_until_closed());
    EXPECT_TRUE(dialog.terminal.wait_for_text(6, kListColumn, "figure: 111"));
    dialog.terminal.press(Key::kF4);
    ASSERT_TRUE(dialog.terminal.wait_until([&] { return daemon.requests(kList).size() >= 3; }));
    ASSERT_TRUE(dialog.terminal.wait_for_rest());
    EXPECT_EQ(dialog.terminal.screen().find_row("Enter connection number"), -1);
    expect_clean_end(dialog.terminal);
}

TEST_F(ConnectionDialog, AnEmptyListStillShowsThePrompt) {
    EXPECT_TRUE(open({"<zrpConsoleReply/>"}));
    EXPECT_EQ(inside(dialog.terminal, kListRow), "");
}

struct TypedNumber {
    const char* line;
    const char* station;
};

class ConnectionNumber : public ConnectionDialog,
                         public testing::WithParamInterface<TypedNumber> {};

TEST_P(ConnectionNumber, IsUsedAsTyped) {
    daemon.answer(kInformation, {kRefusal});
    ASSERT_TRUE(open({page(users(1, 3))}));
    dialog.answer(GetParam().line);
    ASSERT_TRUE(dialog.terminal.wait_until([&] { return !daemon.requests(kInformation).empty(); }));
    EXPECT_EQ(daemon.requests(kInformation).at(0),
              "<zrpConsoleRequest pid=\"" + std::to_string(dialog.terminal.child().pid()) +
                  "\"><connectionInformationTag>\n<connectionTag><versionTag>1</versionTag>"
                  "<stationNumberTag>" +
                  GetParam().station +
                  "</stationNumberTag></connectionTag>\n"
                  "</connectionInformationTag></zrpConsoleRequest>");
}

INSTANTIATE_TEST_SUITE_P(Lines, ConnectionNumber,
                         testing::Values(TypedNumber{"2", "2"}, TypedNumber{"7abc", "7"},
                                         TypedNumber{"abc", "0"}, TypedNumber{" -3", "-3"},
                                         TypedNumber{"4294967298", "2147483647"}));

TEST_F(ConnectionDialog, AFunctionKeySelectsConnection0) {
    daemon.answer(kInformation, {information(2, "chosen")});
    ASSERT_TRUE(open({page(users(1, 3))}));
    dialog.answer("2");
    ASSERT_TRUE(dialog.shows_title("(2) chosen"));
    dialog.terminal.press(Key::kF4);
    ASSERT_TRUE(dialog.wait_for_prompt());
    dialog.terminal.type("3");
    dialog.terminal.press(Key::kF1); // closes the dialog and does nothing else
    EXPECT_TRUE(dialog.terminal.wait_until([&] {
        return daemon.requests(kInformation).back().find("<stationNumberTag>0<") !=
               std::string::npos;
    }));
}

TEST_F(ConnectionDialog, QuittingLeavesNoConnectionSelected) {
    daemon.answer(kInformation, {information(2, "chosen")});
    ASSERT_TRUE(open({page(users(1, 3))}));
    dialog.answer("2");
    ASSERT_TRUE(dialog.shows_title("(2) chosen"));
    dialog.terminal.press(Key::kF4);
    ASSERT_TRUE(dialog.wait_for_prompt());
    dialog.answer("q");
    EXPECT_TRUE(dialog.terminal.wait_until([&] {
        return daemon.requests(kInformation).back().find("<stationNumberTag>-1<") !=
               std::string::npos;
    }));
}

// On the General screen of the simulated server.
constexpr const char* kStatistic = "packetsAccepted: ";

// Special keys in the dialog, and a text of the screen that they open.
struct DialogKey {
    const char* name;
    Key key;
    const char* shown;
};

class ConnectionDialogKey : public testing::TestWithParam<DialogKey> {};

TEST_P(ConnectionDialogKey, OpensItsScreen) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6);
    ASSERT_TRUE(terminal.wait_for("MAXIMUM_CACHED_FILES_PER_VOLUME"));
    terminal.press(Key::kF4);
    ASSERT_TRUE(terminal.wait_for_text(kPromptRow, kPromptColumn, kPrompt));
    terminal.type("12");
    terminal.press(GetParam().key);
    EXPECT_TRUE(terminal.wait_for(GetParam().shown)) << terminal.text();
    EXPECT_TRUE(terminal.wait_until(
        [&] { return terminal.screen().find_row("Enter connection number") == -1; }));
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ConnectionDialogKey,
    testing::Values(DialogKey{"F2", Key::kF2, kStatistic},
                    DialogKey{"F3", Key::kF3, "Enter volume number"},
                    DialogKey{"F5", Key::kF5, "Enter selection"},
                    DialogKey{"F6", Key::kF6, "MAXIMUM_CACHED_FILES_PER_VOLUME"},
                    DialogKey{"F1", Key::kF1, "MAXIMUM_CACHED_FILES_PER_VOLUME"},
                    DialogKey{"Up", Key::kUp, "MAXIMUM_CACHED_FILES_PER_VOLUME"},
                    DialogKey{"Down", Key::kDown, "MAXIMUM_CACHED_FILES_PER_VOLUME"},
                    DialogKey{"Tab", Key::kTab, "Enter selection"},
                    DialogKey{"Right", Key::kRight, "Enter selection"},
                    DialogKey{"PageDown", Key::kPageDown, "Enter selection"},
                    DialogKey{"ShiftTab", Key::kShiftTab, "Enter volume number"},
                    DialogKey{"Left", Key::kLeft, "Enter volume number"},
                    DialogKey{"PageUp", Key::kPageUp, "Enter volume number"},
                    DialogKey{"Home", Key::kHome, kStatistic}),
    [](const auto& key) { return std::string(key.param.name); });

TEST_F(ConnectionDialog, F4OpensItAgainWithACurrentList) {
    ASSERT_TRUE(open({page(users(1, 3)), page(users(7, 3))}));
    dialog.terminal.type("12");
    dialog.terminal.press(Key::kF4);
    EXPECT_TRUE(dialog.terminal.wait_for_text(kListRow, kListColumnOfPage, "7. user7 "))
        << dialog.terminal.text();
    EXPECT_TRUE(dialog.wait_for_prompt());
    EXPECT_EQ(daemon.requests(kList).size(), 2U);
}

TEST_F(ConnectionDialog, F12EndsTheProgram) {
    ASSERT_TRUE(open({page(users(1, 3))}));
    expect_clean_end(dialog.terminal);
}

TEST_F(ConnectionDialog, ASignalEndsTheProgram) {
    ASSERT_TRUE(open({page(users(1, 3))}));
    dialog.terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(dialog.terminal);
}

TEST_F(ConnectionDialog, ALostTerminalEndsTheProgram) {
    ASSERT_TRUE(open({page(users(1, 3))}));
    dialog.terminal.hang_up();
    const auto status = dialog.terminal.wait_for_exit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, ExitStatus{});
}

TEST(ConnectionDialogTrace, ContainsLinesAndKeys) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    CommandAnswers daemon;
    daemon.answer(kList, {page(users(1, 3))});
    daemon.answer(kInformation, {information(2, "chosen")});
    Dialog dialog(daemon, traced_monitor(folder));
    ASSERT_TRUE(dialog.open());
    dialog.answer("2");
    ASSERT_TRUE(dialog.shows_title("(2) chosen"));
    dialog.terminal.press(Key::kF4);
    ASSERT_TRUE(dialog.wait_for_prompt());
    dialog.terminal.press(Key::kF12);
    expect_ended_cleanly(dialog.terminal);
    const std::string trace = folder.trace();
    EXPECT_NE(trace.find("\nSelectConnectionNumber: normal string = 2\n"), std::string::npos)
        << trace;
    EXPECT_NE(trace.find("\nSelectConnectionNumber: fkey detected fkey=276\n"), std::string::npos);
}

TEST(ConnectionDialogOnTheSimulator, PagesThroughTwentyThousandConnections) {
    ZRP_NEEDS_ROOT();
    const Simulator server({"--connections", "20000"});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF4);
    ASSERT_TRUE(terminal.wait_for_text(kPromptRow, kPromptColumn, kPrompt));
    for (int start = 11; start <= 201; start += 10) {
        terminal.type("+\r");
        // The first of the ten stations may not be logged in: then a later one is the first shown.
        ASSERT_TRUE(terminal.wait_until([&] {
            const int station = atoi(inside(terminal, kListRow).c_str());
            return station >= start && station < start + 10;
        })) << start
            << terminal.text();
    }
    terminal.type("19999\r");
    EXPECT_TRUE(terminal.wait_for_text(kTitleRow, kTitleValueColumn, "(19999) "));
    expect_clean_end(terminal);
}

// The list is faulty when the dialog opens. The dialog shows what can be read, even if that is an
// empty page, unless the request itself fails.
class ConnectionDialogFault : public testing::TestWithParam<const char*> {
protected:
    bool press_f4() {
        if (!wait_for_windows(terminal) || !terminal.wait_for(kStatistic)) {
            return false;
        }
        terminal.press(Key::kF4);
        return true;
    }

    const Simulator server{{"--fault", std::string(GetParam()) + ":listConnections"}};
    Terminal terminal{monitor()};
};

class ConnectionDialogOpens : public ConnectionDialogFault {};

TEST_P(ConnectionDialogOpens, WithAFaultyList) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(press_f4());
    EXPECT_TRUE(terminal.wait_for_text(kPromptRow, kPromptColumn, kPrompt)) << terminal.text();
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectionDialogOpens,
                         testing::Values("drip", "early-close", "zero-length", "long-length",
                                         "garbage", "truncated", "unclosed"),
                         name_of_fault);

class ConnectionDialogFails : public ConnectionDialogFault {};

TEST_P(ConnectionDialogFails, AndTheScreenShownBeforeStays) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(press_f4());
    // The dialog's window is shown for a moment and erases the statistics: the next pass draws them
    // again.
    const size_t pressed = terminal.raw_output().size();
    ASSERT_TRUE(terminal.wait_until([&] {
        return terminal.raw_output().find(kStatistic, pressed) != std::string::npos;
    })) << terminal.text();
    EXPECT_EQ(terminal.raw_output().find("Enter connection number"), std::string::npos);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectionDialogFails,
                         testing::Values("drip-header", "short-header", "wrong-magic",
                                         "swapped-magic", "status", "error-reply"),
                         name_of_fault);

class ConnectionDialogHangs : public ConnectionDialogFault {};

TEST_P(ConnectionDialogHangs, UntilASignalEndsTheProgram) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(press_f4());
    ASSERT_TRUE(terminal.wait_until([&] { return terminal.screen().find_row(kStatistic) == -1; }));
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectionDialogHangs, testing::Values("hang"), name_of_fault);

} // namespace
} // namespace zrp::connection_dialog_test
