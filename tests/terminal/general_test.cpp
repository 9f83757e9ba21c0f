// The General screen and the up-time strip.

#include "tests/support/huge_replies.h"
#include "tests/terminal/session.h"
#include "tests/terminal/thread_sleeps.h"

namespace zrp::general_test {
namespace {

constexpr int kFirstRow = 6; // of the list
constexpr int kLastRow = 16; // of the eleventh statistic
constexpr int kFrameColumn = 78;

std::string numbered(int count) {
    std::string all;
    for (int i = 1; i <= count; i++) {
        all += parm("stat" + std::to_string(i), std::to_string(100 + i));
        if (i == 4) {
            all += up_time("5");
        }
    }
    return all;
}

TEST(General, ListsEachStatisticAsNameAndValue) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({statistics(numbered(3))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(8, kListColumn, "stat3: 103")) << terminal.text();
    EXPECT_EQ(terminal.screen().text_at(6, 1, 16), std::string(kVertical) + "    stat1: 101 ");
    EXPECT_EQ(terminal.cell(6, kListColumn),
              (harness::Cell{.text = "s", .foreground = kWhite, .background = kBlue}));
}

TEST(General, SendsTheOneLineDocumentWithoutAProcessId) {
    ZRP_NEEDS_ROOT();
    ScriptedPeer peer(kMainDaemonSocket, answers({statistics(numbered(1))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_finished(2)); // strip and list
    const std::string text = "<zrpConsoleRequest><serverStatistics><versionTag>1</versionTag>"
                             "</serverStatistics></zrpConsoleRequest>";
    const RequestHeader header = {kMagic, kMainDaemonRequest, static_cast<uint32_t>(text.size())};
    const std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    EXPECT_EQ(peer.requests().at(0), bytes + text);
    EXPECT_EQ(peer.requests().at(1), bytes + text);
}

TEST(General, OfFifteenStatisticsTheFirstElevenOtherThanTheUpTimeAreShown) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({statistics(numbered(15))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(kLastRow, kListColumn, "stat11: 111")) << terminal.text();
    EXPECT_EQ(terminal.screen().text_at(9, kListColumn, 10), "stat4: 104");
    EXPECT_EQ(terminal.screen().text_at(10, kListColumn, 10), "stat5: 105");
    EXPECT_EQ(terminal.screen().text_at(kLastRow + 1, 2, 20), std::string(20, ' '));
}

TEST(General, AStatisticWithoutAValueIsListedWithAnEmptyOne) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(
        kMainDaemonSocket,
        answers({statistics("<parm><name>bare</name></parm>" + parm("next", "1"))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(7, kListColumn, "next: 1"));
    EXPECT_EQ(terminal.screen().text_at(6, kListColumn, 12), "bare:       ");
}

TEST(General, AStatisticWithoutANameOrWithAValueTooLongIsSkipped) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(
        kMainDaemonSocket,
        answers({statistics("<parm><value type=\"int\">3</value></parm>" +
                            parm("long", std::string(4097, 'x')) + parm("kept", "1"))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("kept: 1"));
    EXPECT_EQ(terminal.screen().find_row("kept: 1"), kFirstRow) << terminal.text();
}

TEST(General, ALongNameIsCutAtTheFrame) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(
        kMainDaemonSocket,
        answers({statistics(parm(std::string(300, 'n'), "1") + parm("after", "2"))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(7, kListColumn, "after: 2")) << terminal.text();
    EXPECT_EQ(terminal.screen().text_at(6, kListColumn, 72), std::string(72, 'n'));
    EXPECT_EQ(terminal.cell(6, kFrameColumn).text, kVertical);
    EXPECT_EQ(terminal.cell(7, 1).text, kVertical);
}

TEST(General, ControlCharactersOfTheServerDoNotReachTheTerminal) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket,
                            answers({statistics(parm("evil\x1b[2J", "a\tb\r\n\x07\xc2\x9b"
                                                                    "2Jc\xff"))}));
    Terminal terminal(monitor());
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "evil?[2J: a?b????2Jc? "))
        << terminal.text();
}

TEST(General, NamesInOtherScriptsAreShownUnchanged) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket,
                            answers({statistics(parm("Gr\u00fc\u00dfe", "\u65e5\u672c"))}));
    Terminal terminal(monitor());
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "Gr\u00fc\u00dfe: \u65e5\u672c"))
        << terminal.text();
}

TEST(General, AShorterValueLeavesTheRestOfTheOldOne) {
    ZRP_NEEDS_ROOT();
    const std::string before = statistics(parm("count", "12345"));
    const std::string after = statistics(parm("count", "9"));
    const ScriptedPeer peer(kMainDaemonSocket, answers({before, before, after}));
    Terminal terminal(monitor());
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "count: 12345"));
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "count: 92345 ")) << terminal.text();
}

struct UpTime {
    const char* name;
    const char* seconds;
    const char* text;
};

class UpTimeStrip : public testing::TestWithParam<UpTime> {};

TEST_P(UpTimeStrip, ShowsTheDuration) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({statistics(up_time(GetParam().seconds))}));
    Terminal terminal(monitor());
    EXPECT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, GetParam().text))
        << terminal.text();
    EXPECT_EQ(terminal.screen().find_row("serverUpTime"), -1);
}

INSTANTIATE_TEST_SUITE_P(Durations, UpTimeStrip,
                         testing::Values(UpTime{"Of0Seconds", "0", "0 Seconds  "},
                                         UpTime{"Of60Seconds", "60", "1 Minute 0 Seconds  "},
                                         UpTime{"Of90061Seconds", "90061",
                                                "1 Day 1 Hour 1 Minute 1 Second  "}),
                         [](const auto& upTime) { return std::string(upTime.param.name); });

TEST(UpTimeStrip, IsClearedBeforeAShorterTextIsWritten) {
    ZRP_NEEDS_ROOT();
    const std::string before = statistics(up_time("90061"));
    const ScriptedPeer peer(kMainDaemonSocket, answers({before, before, statistics(up_time("7"))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "7 Seconds"));
    EXPECT_EQ(terminal.screen().text_at(kStripTextRow, kUpTimeColumn, 60),
              "7 Seconds " + std::string(50, ' '));
    EXPECT_EQ(terminal.cell(kStripTextRow, kFrameColumn).text, kVertical);
}

TEST(UpTimeStrip, ShowsTheLastOfSeveralValues) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket,
                            answers({statistics(up_time("90061") + up_time("3"))}));
    Terminal terminal(monitor());
    EXPECT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "3 Seconds    "))
        << terminal.text();
}

TEST(UpTimeStrip, IsUpdatedOnEveryScreen) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket,
                            answers({statistics(up_time("1")), statistics(up_time("1")),
                                     statistics(up_time("2")), statistics(up_time("3"))}));
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "1 Second "));
    terminal.press(Key::kF6);
    EXPECT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "3 Seconds "));
}

// Faulty replies: the old values stay, and the next pass tries again.
struct Fault {
    const char* name;
    PeerScript script;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << fault.name;
}

std::string announce(uint32_t length) {
    return reply_header(length) + "<zrpConsoleReply>";
}

const std::string kNewValues = statistics(parm("figure", "222") + up_time("77"));
const std::string kRefusedValues = statistics(parm("figure", "333") + up_time("99"));

class ServerFault : public testing::TestWithParam<Fault> {};

TEST_P(ServerFault, LeavesTheOldValuesUntilTheNextPassSucceeds) {
    ZRP_NEEDS_ROOT();
    const bool isHuge = std::string_view(GetParam().name) == "FourGigabytes";
    ZRP_NEEDS_MEMORY_FOR_HUGE_REPLIES(isHuge);
    const std::string good = statistics(parm("figure", "111") + up_time("5"));
    auto scripts = answers({good, good, good, good, good, good, kNewValues});
    for (size_t i = 2; i < 6; i++) { // two passes
        scripts[i] = GetParam().script;
    }
    ScriptedPeer peer(kMainDaemonSocket, scripts);
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for_text(6, kListColumn, "figure: 111"));
    const harness::Snapshot before = terminal.screen().snapshot();
    const auto patience = isHuge ? kHugeReplyPatience : harness::kPatience;
    ASSERT_TRUE(terminal.wait_until([&] { return peer.connections() >= 5; }, patience));
    EXPECT_EQ(but_status_row(terminal.screen().snapshot()), but_status_row(before))
        << "after a whole pass that failed";
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "figure: 222", patience)) << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "1 Minute 17 Seconds "));
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ServerFault,
    testing::Values(
        Fault{"WrongMagic", {read_request(), send_bytes(reply_header(4, 0, 0x12345678) + "text")}},
        Fault{"SwappedMagic",
              {read_request(), send_bytes(reply_header(4, 0, 0x98BADCFE) + "text")}},
        Fault{"ShortHeader", {read_request(), send_bytes(reply_header(4).substr(0, 8))}},
        Fault{"NoReply", {read_request()}}, Fault{"ResetBeforeTheRequestIsRead", {reset()}},
        Fault{"EarlyClose", {read_request(), send_bytes(announce(5000))}},
        Fault{"ZeroLength", {read_request(), send_bytes(reply_header(0))}},
        Fault{"FourGigabytes", {read_request(), send_bytes(announce(kHugeLength))}},
        Fault{"ErrorStatus", {read_request(), send_bytes(reply(kRefusedValues, 5))}},
        Fault{"ErrorElement",
              {read_request(), send_bytes(reply("<result value=\"-5\"/>" + kRefusedValues))}},
        Fault{"WriteError", {read_request(), send_bytes(reply("<writeResult>" + kRefusedValues))}},
        Fault{"UnclosedElement",
              {read_request(),
               send_bytes(reply("<zrpConsoleReply><serverStatistics>" + parm("figure", "9")))}},
        Fault{"Noise",
              {read_request(), send_bytes(reply(std::string("\x00\x1b[2J<\xff<<\"", 10)))}}),
    [](const auto& fault) { return std::string(fault.param.name); });

TEST(General, WithoutADaemonTheScreenIsEmptyUntilThereIsOne) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(wait_for_idle_pass(terminal));
    EXPECT_EQ(terminal.screen().text_at(kStripTextRow, 2, 40),
              "Server Up Time:" + std::string(25, ' '));
    const ScriptedPeer peer(kMainDaemonSocket, answers({kNewValues}));
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "figure: 222")) << terminal.text();
}

} // namespace
} // namespace zrp::general_test
