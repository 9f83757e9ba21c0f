// The Diagnostics screen: its requests and what it shows.
#include "tests/terminal/diagnostics_fixture.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::diagnostics_test {
namespace {

using namespace diagnostics_fixture;

using Diagnostics = DiagnosticsTest;

TEST_F(Diagnostics, NineAsksTheMainDaemonAndShowsFourColons) {
    ASSERT_TRUE(choose(terminal, "9"));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_main() >= 2; }));
    for (int line = 1; line <= 13; line++) {
        EXPECT_EQ(inside(terminal, line), (line <= 4 ? ":" : " ") + std::string(75, ' ')) << line;
    }
    EXPECT_EQ(daemons.asked_storage(), 0U);
}

TEST_F(Diagnostics, TenAsksTheStorageDaemonAndShowsOnlyTheBox) {
    ASSERT_TRUE(choose(terminal, "10"));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_storage() >= 2; }));
    EXPECT_TRUE(shows_box_only(terminal)) << terminal.text();
    EXPECT_EQ(daemons.asked_main(), 0U);
}

class DiagnosticsOddChoice : public DiagnosticsTest,
                             public testing::WithParamInterface<const char*> {};

TEST_P(DiagnosticsOddChoice, AsksTheMainDaemonAndShowsOnlyTheBox) {
    ASSERT_TRUE(choose(terminal, GetParam()));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_main() >= 2; }));
    EXPECT_TRUE(shows_box_only(terminal)) << terminal.text();
    EXPECT_EQ(daemons.asked_storage(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Numbers, DiagnosticsOddChoice,
                         testing::Values("0", "abc", "-2", "-99999999999"));

TEST_F(Diagnostics, MinusOneIsAcceptedAndNoDaemonIsAsked) {
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "17"));
    ASSERT_TRUE(choose(terminal, "-1"));
    ASSERT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << terminal.text();
    const size_t asked = daemons.asked_main();
    ASSERT_TRUE(wait_for_whole_pass());
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(daemons.asked_main(), asked);
    EXPECT_TRUE(shows_box_only(terminal)) << terminal.text();
}

class DiagnosticsRejectedChoice : public DiagnosticsTest,
                                  public testing::WithParamInterface<const char*> {};

TEST_P(DiagnosticsRejectedChoice, IsStoredAnywayAndShowsOnlyTheBox) {
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "17"));
    EXPECT_EQ(daemons.asked_storage(), 0U);
    ASSERT_TRUE(choose(terminal, GetParam()));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_storage() >= 1; }));
    EXPECT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << terminal.text();
}

INSTANTIATE_TEST_SUITE_P(Numbers, DiagnosticsRejectedChoice,
                         testing::Values("19", "25", "4294967297"));

TEST_F(Diagnostics, ARejectedChoiceKeepsTheScreenShownBefore) {
    ASSERT_TRUE(show_figure());
    ASSERT_TRUE(choose(terminal, "19"));
    ASSERT_TRUE(terminal.wait_for("figure: 111"));
    ASSERT_TRUE(wait_for_whole_pass());
    EXPECT_EQ(daemons.asked_storage(), 0U);
}

TEST_F(Diagnostics, AShorterValueLeavesTheLastDigitUntilTheScreenIsRedrawn) {
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "100"))});
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "100 ")) << terminal.text();
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "99"))});
    EXPECT_TRUE(wait_for_value(terminal, 2, "990 ")) << terminal.text();
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "99  ")) << terminal.text();
}

TEST_F(Diagnostics, ACounterMissingFromAReplyKeepsItsValue) {
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "100") +
                                                      server_value("openLinuxFiles", "200")),
                                         server_reply(server_value("openLinuxFiles", "201"))});
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 3, "201 ")) << terminal.text();
    // Redrawn from the stored values alone.
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "100 ")) << terminal.text();
    EXPECT_TRUE(wait_for_value(terminal, 4, "0     "));
}

TEST_F(Diagnostics, AValueAbove2147483647WrapsToANegativeOne) {
    daemons.main.answer(kServerCommand,
                        {server_reply(server_value("openFiles", "2147483648") +
                                      server_value("openLinuxFiles", "4294967295"))});
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "-2147483648 ")) << terminal.text();
    EXPECT_TRUE(wait_for_value(terminal, 3, "-1 "));
}

TEST_F(Diagnostics, OnlyTheStorageDaemonsMemoryRequestHasATrailingBlank) {
    daemons.main.answer(kServerCommand,
                        {server_reply(server_value("ipcListener memory request", "11") +
                                      server_value("ipcListener memory request ", "12"))});
    daemons.storage.answer(kBksCommand, {bks_reply(bks_value("ipcListener memory request ", "21") +
                                                   bks_value("ipcListener memory request", "22"))});
    ASSERT_TRUE(choose(terminal, "3"));
    EXPECT_TRUE(wait_for_value(terminal, 9, "11 ")) << terminal.text();
    ASSERT_TRUE(choose(terminal, "13"));
    EXPECT_TRUE(wait_for_value(terminal, 6, "21 ")) << terminal.text();
}

TEST_F(Diagnostics, TheLabelsOfTwoBksEventsEndOneColumnFurtherRight) {
    daemons.main.answer(kServerCommand,
                        {server_reply(server_value("BKS event failed", "4") +
                                      server_value("BKS Add trustee events", "5"))});
    ASSERT_TRUE(choose(terminal, "6"));
    ASSERT_TRUE(wait_for_value(terminal, 5, "5 "));
    EXPECT_EQ(inside(terminal, 1), "    ZRP Server BKS received Events" + std::string(42, ' '));
    EXPECT_EQ(inside(terminal, 4).substr(19, 21), " BKS event failed: 4 ");
    EXPECT_EQ(inside(terminal, 5).substr(14, 26), " BKS Add trustee events:5 ");
}

TEST_F(Diagnostics, SendsEachDaemonItsOwnFormOfRequest) {
    const std::string pid = std::to_string(terminal.child().pid());
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_main() >= 1; }));
    EXPECT_EQ(daemons.main.requests(kServerCommand).at(0),
              "<zrpConsoleRequest pid=\"" + pid +
                  "\"><diagnostics>\n<diagLevel>1</diagLevel>\n</diagnostics></zrpConsoleRequest>");
    ASSERT_TRUE(choose(terminal, "12"));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_storage() >= 1; }));
    const std::string document = "<zrp2bksDiagnosticRequest pid=\"" + pid +
                                 "\"><zrp2bksDiagnosticRequest>\n<level>1</level>\n"
                                 "</zrp2bksDiagnosticRequest></zrp2bksDiagnosticRequest>";
    const uint32_t words[] = {24, 1, static_cast<uint32_t>(document.size() + 1)};
    std::string message(reinterpret_cast<const char*>(words), sizeof words);
    message += document + std::string(20, '\0');
    EXPECT_EQ(daemons.storage.requests(kBksCommand).at(0), message);
}

TEST(DiagnosticsTrace, TracesEachCounterThatAReplyNames) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "17") +
                                                      server_value("never heard of", "1"))});
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "17"));
    ASSERT_TRUE(open_dialog(terminal));
    terminal.press(Key::kUp);
    ASSERT_TRUE(terminal.wait_until([&] { return !dialog_is_open(terminal); }));
    expect_clean_end(terminal);
    const std::string log = folder.trace();
    for (const char* line :
         {"\ninsert CMgr preallocated count\n", "\ninsert Purge volume requests\n",
          "\nfind openFiles --- value set = 17\n", "\nfind never heard of --- NOT FOUND\n",
          "\nSelectDiagnosticsType: fkey detected fkey=259\n", "\nrelease hash table\n"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line;
    }
}

// Faulty replies: the old values stay, and the next pass tries again.
struct Fault {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << fault.name;
}

class DiagnosticsFault : public DiagnosticsTest, public testing::WithParamInterface<Fault> {
protected:
    bool wait_for_request(const CommandAnswers& daemon, const std::string& command, size_t more) {
        const size_t before = daemon.requests(command).size();
        return terminal.wait_until(
            [&] { return daemon.requests(command).size() >= before + more; });
    }
};

TEST_P(DiagnosticsFault, OfTheMainDaemonLeavesTheOldValues) {
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "111"))});
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "111"));
    ASSERT_TRUE(wait_for_value(terminal, 7, "0"));
    ASSERT_TRUE(terminal.wait_for_rest()); // everything is drawn
    const harness::Snapshot before = terminal.screen().snapshot();
    daemons.main.answer_raw(kServerCommand, {GetParam().bytes});
    ASSERT_TRUE(
        wait_for_request(daemons.main, kServerCommand, 2)); // the first of them is processed
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(but_status_row(terminal.screen().snapshot()), but_status_row(before));
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "222"))});
    EXPECT_TRUE(wait_for_value(terminal, 2, "222")) << terminal.text();
}

TEST_P(DiagnosticsFault, OfTheStorageDaemonLeavesTheOldValues) {
    daemons.storage.answer(kBksCommand, {bks_reply(bks_value("Request", "111"))});
    ASSERT_TRUE(choose(terminal, "12"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "111"));
    ASSERT_TRUE(wait_for_value(terminal, 4, "0"));
    ASSERT_TRUE(terminal.wait_for_rest()); // everything is drawn
    const harness::Snapshot before = terminal.screen().snapshot();
    daemons.storage.answer_raw(kBksCommand, {GetParam().bytes});
    ASSERT_TRUE(
        wait_for_request(daemons.storage, kBksCommand, 2)); // the first of them is processed
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(but_status_row(terminal.screen().snapshot()), but_status_row(before));
    daemons.storage.answer(kBksCommand, {bks_reply(bks_value("Request", "222"))});
    EXPECT_TRUE(wait_for_value(terminal, 2, "222")) << terminal.text();
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DiagnosticsFault,
    testing::Values(Fault{"WrongMagic", reply_header(4, 0, 0x12345678) + "text"},
                    Fault{"ShortHeader", reply_header(4).substr(0, 8)}, Fault{"NoReply", ""},
                    Fault{"EarlyClose", reply_header(5000) + "<zrpConsoleReply>"},
                    Fault{"ZeroLength", reply_header(0)},
                    Fault{"SixtyFourMegabytes", reply_header(64U << 20U)},
                    Fault{"ErrorStatus", reply("<a/>", 5)},
                    Fault{"ErrorElement", reply("<zrpConsoleReply><result value=\"-5\"/>"
                                                "</zrpConsoleReply>")},
                    Fault{"Unclosed", reply("<zrpConsoleReply><diagnostics><diagLevel>1")},
                    Fault{"Noise", reply(std::string("\x00\x1b[2J<\xff<<\"", 10))}),
    [](const auto& fault) { return std::string(fault.param.name); });

TEST_F(Diagnostics, ReadsTheCountersBeforeADamagedOne) {
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "7") +
                                                      "<diagValue>openLinuxFiles</diagValue>" +
                                                      server_value("normalOpenCount", "9"))});
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "7 "));
    ASSERT_TRUE(wait_for_value(terminal, 7, "0 "));
    EXPECT_EQ(value_at(terminal, 3), "0     ");
    EXPECT_EQ(value_at(terminal, 4), "0     ");
}

} // namespace
} // namespace zrp::diagnostics_test
