// The row that says what does not answer: its text, when it appears, and that nothing else changes.

#include "tests/support/patterns.h"
#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/simulator.h"

namespace zrp::status_row_test {
namespace {

constexpr int kTerminalRows = 25;
constexpr int kRowOfStatus = kTerminalRows - 2;
constexpr int kFirstBlankRow = kTerminalRows - 5;

const harness::Cell kUntouched{.text = " ", .foreground = kWhite, .background = kBlack};

bool row_is_blank(const Terminal& terminal) {
    for (int column = 0; column < terminal.screen().columns(); column++) {
        if (!(terminal.cell(kRowOfStatus, column) == kUntouched)) {
            return false;
        }
    }
    return true;
}

bool wait_for_row(Terminal& terminal, const std::string& pattern) {
    return terminal.wait_until([&] { return matches(terminal.row(kRowOfStatus), pattern); });
}

std::string no_answer(const std::string& name, const std::string& reason) {
    return name + ": no answer for [0-9]+ s \\(" + reason + "\\)";
}

// The seconds that the row shows, -1 without any.
int seconds_shown(const Terminal& terminal) {
    const auto found = find_matches(terminal.row(kRowOfStatus), "for ([0-9]+) s");
    return found.empty() ? -1 : std::stoi(found[0][1]);
}

// The rows below the main window but for the status row.
void expect_other_rows_untouched(const Terminal& terminal) {
    for (int row = kFirstBlankRow; row < kTerminalRows; row++) {
        for (int column = 0; row != kRowOfStatus && column < terminal.screen().columns();
             column++) {
            EXPECT_EQ(terminal.cell(row, column), kUntouched) << row << ", " << column;
        }
    }
}

TEST(StatusRow, IsBlankOnEveryScreenAndInEveryDialogWhileAllIsWell) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
    constexpr struct {
        Key key;
        const char* prompt;
        const char* choice;
        const char* shown;
    } kScreens[] = {
        {Key::kF3, "Enter volume number", "0\r", "Volume: "},
        {Key::kF4, "Enter connection number", "2\r", "Network address"},
        {Key::kF5, "Enter selection", "15\r", "change volume"},
        {Key::kF5, "Enter selection", "1\r", "Directory Cache"},
        {Key::kF6, nullptr, nullptr, "LOG_CACHE_STATISTICS = 0"},
        {Key::kF7, nullptr, nullptr, "[libomw2zrp]"},
        {Key::kF2, nullptr, nullptr, "packetsAccepted"},
    };
    for (const auto& screen : kScreens) {
        terminal.press(screen.key);
        if (screen.prompt != nullptr) {
            ASSERT_TRUE(terminal.wait_for(screen.prompt)) << terminal.text();
            EXPECT_TRUE(row_is_blank(terminal)) << terminal.text();
            terminal.type(screen.choice);
        }
        ASSERT_TRUE(terminal.wait_for(screen.shown)) << terminal.text();
        const size_t asked = server.logged("serverStatistics");
        ASSERT_TRUE(
            terminal.wait_until([&] { return server.logged("serverStatistics") >= asked + 2; }));
        EXPECT_TRUE(row_is_blank(terminal)) << terminal.text();
        expect_other_rows_untouched(terminal);
    }
    EXPECT_EQ(terminal.raw_output().find("daemon"), std::string::npos)
        << "it was there for a while";
}

TEST(StatusRow, CountsTheSecondsOfARefusalAndIsBlankAgainAfterTheNextGoodPass) {
    ZRP_NEEDS_ROOT();
    Simulator server({"--clock", "1000000"});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
    ASSERT_TRUE(terminal.wait_for_rest());
    const harness::Snapshot before = terminal.screen().snapshot();
    server.control("fault refuse:zrpserv");
    ASSERT_TRUE(wait_for_row(terminal, no_answer("main daemon", "connection refused")))
        << terminal.text();
    const int first = seconds_shown(terminal);
    ASSERT_TRUE(terminal.wait_until([&] { return seconds_shown(terminal) >= first + 3; }));
    const harness::Cell cell = terminal.cell(kRowOfStatus, 0);
    EXPECT_EQ(cell.foreground, kCyan);
    EXPECT_EQ(cell.background, kBlack);
    for (int row = 0; row < kTerminalRows; row++) {
        for (int column = 0; row != kRowOfStatus && column < 80; column++) {
            EXPECT_EQ(terminal.cell(row, column), before.at(row, column)) << row << ", " << column;
        }
    }
    server.control("fault none");
    EXPECT_TRUE(terminal.wait_until([&] { return terminal.screen().snapshot() == before; }))
        << terminal.text();
    expect_clean_end(terminal);
}

TEST(StatusRow, CountsOnBetweenTwoPasses) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.type(std::string(59, '+'));
    ASSERT_TRUE(wait_for_row(terminal, no_answer("main daemon", "connection refused")));
    ASSERT_TRUE(terminal.wait_until([&] { return seconds_shown(terminal) >= 4; }));
    terminal.child().send_signal(SIGKILL); // an orderly end would take a minute
}

TEST(StatusRow, NamesADaemonThatHoldsThePassWhileItHoldsIt) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_row(terminal, no_answer("main daemon", "waiting"))) << terminal.text();
    EXPECT_GE(seconds_shown(terminal), 2);
    const int first = seconds_shown(terminal);
    EXPECT_TRUE(terminal.wait_until([&] { return seconds_shown(terminal) >= first + 2; }));
    terminal.press(Key::kF6); // the main thread waits for the pass
    EXPECT_TRUE(terminal.wait_until([&] { return seconds_shown(terminal) >= first + 4; }));
    EXPECT_EQ(peer.connections(), 1U);
    expect_clean_end(terminal);
}

TEST(StatusRow, NamesADaemonThatHoldsTheRequestOfADialog) {
    ZRP_NEEDS_ROOT();
    Simulator server({"--clock", "1000000"});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
    server.control("fault hang:listVolumes");
    terminal.press(Key::kF3);
    EXPECT_TRUE(wait_for_row(terminal, no_answer("main daemon", "waiting"))) << terminal.text();
    expect_clean_end(terminal);
}

TEST(StatusRow, NamesADaemonThatHoldsADialogBetweenTwoPasses) {
    ZRP_NEEDS_ROOT();
    Simulator server({"--clock", "1000000"});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
    ASSERT_TRUE(terminal.wait_for_rest());
    terminal.type(std::string(9, '+'));
    ASSERT_TRUE(terminal.wait_for_rest());
    const size_t before = server.logged("serverStatistics");
    ASSERT_TRUE(terminal.wait_until([&] { return server.logged("serverStatistics") > before; }));
    ASSERT_TRUE(terminal.wait_for_rest()); // the next pass comes in ten seconds
    server.control("fault hang:listVolumes");
    terminal.press(Key::kF3);
    EXPECT_TRUE(wait_for_row(terminal, no_answer("main daemon", "waiting"))) << terminal.text();
    EXPECT_LT(seconds_shown(terminal), 7);
    expect_clean_end(terminal);
}

TEST(StatusRow, TellsWhyADialogDoesNotOpen) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down()); // the row stays until the end of the next pass
    fixture.daemon->answer(connection_fixture::kList, {connection_fixture::kRefusal});
    fixture.terminal.press(kConnection.key);
    EXPECT_TRUE(wait_for_row(fixture.terminal, "main daemon: error -5 \\(no\\)"))
        << fixture.terminal.text();
    EXPECT_TRUE(fixture.terminal.wait_until([&] { return row_is_blank(fixture.terminal); }));
}

TEST(StatusRow, NamesTheStorageDaemonOnlyWhileItsScreenIsShown) {
    ZRP_NEEDS_ROOT();
    Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
    server.control("fault refuse:zrp2bks");
    terminal.press(Key::kF5);
    ASSERT_TRUE(terminal.wait_for("Enter selection"));
    terminal.type("15\r");
    EXPECT_TRUE(wait_for_row(terminal, no_answer("storage daemon", "connection refused")))
        << terminal.text();
    terminal.press(Key::kF2);
    EXPECT_TRUE(terminal.wait_until([&] { return row_is_blank(terminal); })) << terminal.text();
}

TEST(StatusRow, NamesAVolumeThatIsGone) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.show(kVolume));
    for (const char* words : {"no such volume", "no such volume: SYS"}) {
        fixture.daemon->answer("volumeInformation",
                               {"<zrpConsoleReply><result value=\"2\"><description>" +
                                std::string(words) + "</description></result></zrpConsoleReply>"});
        EXPECT_TRUE(wait_for_row(fixture.terminal, "volume SYS: no such volume \\(2\\)"))
            << fixture.terminal.text();
        fixture.daemon->answer("volumeInformation", {volume_information({})});
        EXPECT_TRUE(fixture.terminal.wait_until([&] { return row_is_blank(fixture.terminal); }))
            << fixture.terminal.text();
    }
}

TEST(StatusRow, IsCutToTheWidthOfTheTerminal) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(monitor(kTerminalRows, 40));
    ASSERT_TRUE(fixture.begin());
    const std::string words(100, 'x');
    fixture.daemon->answer("serverStatistics",
                           {"<zrpConsoleReply><result value=\"5\"><description>" + words +
                            "</description></result></zrpConsoleReply>"});
    EXPECT_TRUE(wait_for_row(fixture.terminal, "main daemon: error 5 \\(x{18}"))
        << fixture.terminal.text();
    expect_other_rows_untouched(fixture.terminal);
}

TEST(StatusRow, ControlCharactersOfAServerDoNotReachTheTerminal) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture;
    ASSERT_TRUE(fixture.begin());
    fixture.daemon->answer("serverStatistics",
                           {"<zrpConsoleReply><result value=\"5\"><description>a\x1b[2Jb"
                            "</description></result></zrpConsoleReply>"});
    EXPECT_TRUE(wait_for_row(fixture.terminal, "main daemon: error 5 \\(a\\?\\[2Jb\\)"))
        << fixture.terminal.text();
}

TEST(StatusRow, OnTheVersionScreenARefusedConnectionDoesNotCount) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_row(terminal, no_answer("main daemon", "connection refused")));
    terminal.press(Key::kF7);
    ASSERT_TRUE(terminal.wait_for("ZRP Server Components"));
    EXPECT_TRUE(terminal.wait_until([&] { return row_is_blank(terminal); })) << terminal.text();
    terminal.press(Key::kF2);
    EXPECT_TRUE(wait_for_row(terminal, no_answer("main daemon", "connection refused")));
}

TEST(StatusRow, OnTheVersionScreenAMuteComponentCounts) {
    ZRP_NEEDS_ROOT();
    Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
    server.control("fault hang:libomw2zrp");
    terminal.press(Key::kF7);
    EXPECT_TRUE(wait_for_row(terminal, no_answer("management component", "waiting")))
        << terminal.text();
    expect_clean_end(terminal);
}

// A faulty reply to what a screen asks.
struct StatusFaultCase {
    const char* name;
    Key key;
    const char* prompt; // of its dialog; null without one
    const char* choice;
    const char* command;
    const char* daemon;
};

constexpr StatusFaultCase kFaultCases[] = {
    {"General", Key::kF2, nullptr, nullptr, "serverStatistics", "main daemon"},
    {"Volume", Key::kF3, "Enter volume number", "0\r", "volumeInformation", "main daemon"},
    {"Connection", Key::kF4, "Enter connection number", "2\r", "connectionInformationTag",
     "main daemon"},
    {"Counters", Key::kF5, "Enter selection", "1\r", "diagnostics", "main daemon"},
    {"StorageCounters", Key::kF5, "Enter selection", "15\r", "zrp2bksDiagnosticRequest",
     "storage daemon"},
    {"Parameters", Key::kF6, nullptr, nullptr, "set", "main daemon"},
};

class FaultyReply : public testing::TestWithParam<StatusFaultCase> {
protected:
    // Shows the screen, and then lets its replies be faulty.
    bool show_and_fault(const std::string& kind) {
        terminal.press(GetParam().key);
        if (GetParam().prompt != nullptr) {
            if (!terminal.wait_for(GetParam().prompt)) {
                return false;
            }
            terminal.type(GetParam().choice);
        }
        const size_t asked = server.logged(GetParam().command);
        const bool isAsked =
            terminal.wait_until([&] { return server.logged(GetParam().command) > asked; });
        server.control("fault " + kind + ":" + GetParam().command);
        return isAsked;
    }

    Simulator server;
    Terminal terminal{monitor()};
};

TEST_P(FaultyReply, IsNotUnderstoodIfItIsGarbage) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(show_and_fault("garbage"));
    EXPECT_TRUE(wait_for_row(terminal, std::string(GetParam().daemon) +
                                           ": reply not understood \\([0-9]+\\)"))
        << terminal.text();
    server.control("fault none");
    EXPECT_TRUE(terminal.wait_until([&] { return row_is_blank(terminal); })) << terminal.text();
}

TEST_P(FaultyReply, IsNotUnderstoodWithoutTheMagicNumber) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(show_and_fault("wrong-magic"));
    EXPECT_TRUE(
        wait_for_row(terminal, std::string(GetParam().daemon) + ": reply not understood \\(53\\)"))
        << terminal.text();
}

TEST_P(FaultyReply, SaysWhatErrorTheServerReports) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(show_and_fault("error-reply"));
    const std::string subject =
        GetParam().command == std::string("volumeInformation")
            ? "volume SYS: [a-z ]+ \\(-?[0-9]+\\)"
            : std::string(GetParam().daemon) + ": error -?[0-9]+ \\([a-z ]+\\)";
    EXPECT_TRUE(wait_for_row(terminal, subject)) << terminal.text();
}

TEST_P(FaultyReply, IsNoAnswerIfTheConnectionIsClosedBeforeIt) {
    ZRP_NEEDS_ROOT();
    ASSERT_TRUE(show_and_fault("short-header"));
    EXPECT_TRUE(wait_for_row(terminal, std::string(GetParam().daemon) +
                                           ": no answer for [0-9]+ s \\(connection closed.*"))
        << terminal.text();
}

INSTANTIATE_TEST_SUITE_P(Screens, FaultyReply, testing::ValuesIn(kFaultCases),
                         [](const auto& one) { return std::string(one.param.name); });

} // namespace
} // namespace zrp::status_row_test
