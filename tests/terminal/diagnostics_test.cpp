// The Diagnostics screen and its dialog.
#include <cstring>
#include <fstream>

#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"

namespace zrp {
namespace {

using stage::ChildProcess;
using stage::milliseconds;

constexpr int kTop = kMainTop;   // row of the terminal that is line 0 of the main window
constexpr int kLeft = 1;         // column that is its column 0
constexpr int kLabelColumn = 2;  // of the terminal
constexpr int kValueColumn = 40; // of the terminal
constexpr int kPromptRow = kTop + 11;
constexpr const char* kPrompt = "Enter selection ? ";

const char* const kServerCommand = "diagnostics";
const char* const kBksCommand = "zrp2bksDiagnosticRequest";

std::string server_value(const std::string& name, const std::string& value) {
    return "<diagValue value=\"" + value + "\">" + name + "</diagValue>";
}

std::string bks_value(const std::string& name, const std::string& value) {
    return "<zrp2bksValue value=\"" + value + "\">" + name + "</zrp2bksValue>";
}

std::string server_reply(const std::string& values) {
    return "<zrpConsoleReply><diagnostics><diagLevel>1</diagLevel>" + values +
           "</diagnostics></zrpConsoleReply>";
}

std::string bks_reply(const std::string& values) {
    return "<zrp2bksDiagnosticReply><level>1</level>" + values + "</zrp2bksDiagnosticReply>";
}

// Both daemons, each of which names one counter.
class Daemons {
public:
    Daemons() {
        main.answer("serverStatistics", {statistics(up_time("5"))});
        main.answer(kServerCommand, {server_reply(server_value("openFiles", "17"))});
        storage.answer(kBksCommand, {bks_reply(bks_value("Request", "23"))});
    }

    [[nodiscard]] size_t asked_main() const {
        return main.requests(kServerCommand).size();
    }
    [[nodiscard]] size_t asked_storage() const {
        return storage.requests(kBksCommand).size();
    }

    CommandAnswers main;
    CommandAnswers storage;

private:
    ScriptedPeer mainPeer{kMainDaemonSocket, {main.script()}};
    ScriptedPeer storagePeer{kStorageDaemonSocket, {storage.script()}};
};

bool open_dialog(Terminal& terminal) {
    terminal.press(Key::kF5);
    return terminal.wait_for_text(kPromptRow, kLabelColumn, kPrompt);
}

bool dialog_is_open(const Terminal& terminal) {
    return terminal.eye().text_at(kPromptRow, kLabelColumn, 15) == "Enter selection";
}

bool choose(Terminal& terminal, const std::string& text) {
    if (!open_dialog(terminal)) {
        return false;
    }
    terminal.type(text + "\r");
    return terminal.wait_until([&] { return !dialog_is_open(terminal); });
}

std::string inside(const Terminal& terminal, int line) {
    return terminal.eye().text_at(kTop + line, kLeft + 1, 76);
}

bool shows_box_only(const Terminal& terminal) {
    for (int line = 1; line <= 13; line++) {
        if (inside(terminal, line) != std::string(76, ' ')) {
            return false;
        }
    }
    return terminal.cell(kTop, kLeft).text == kTopLeft &&
           terminal.cell(kTop + 14, 78).text == kBottomRight;
}

std::string value_at(const Terminal& terminal, int line, int count = 6) {
    return terminal.eye().text_at(kTop + line, kValueColumn, count);
}

bool wait_for_value(Terminal& terminal, int line, const std::string& value) {
    return terminal.wait_for_text(kTop + line, kValueColumn, value);
}

TEST(DiagnosticsDialog, ShowsItsMenuAndPrompt) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
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
    expect_clean_end(terminal);
}

TEST(DiagnosticsDialog, StaysInsideItsWindowOnTheSmallestTerminal) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor(25, 40));
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(open_dialog(terminal));
    EXPECT_EQ(terminal.eye().text_at(kTop + 2, 2, 37),
              "         1 - Directory Cache        " + std::string(kVertical));
    terminal.type("1\r");
    ASSERT_TRUE(terminal.wait_for("ZRP Server Directory Cache"));
    ASSERT_TRUE(terminal.wait_for("normal Opens"));
    for (int line = 1; line <= 13; line++) {
        EXPECT_EQ(terminal.cell(kTop + line, 38).text, kVertical) << line;
    }
    expect_clean_end(terminal);
}

TEST(DiagnosticsDialog, AnEmptyLineOrQKeepsTheScreen) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    for (const char* text : {"", "q", "Q1", "quit"}) {
        ASSERT_TRUE(choose(terminal, text)) << text;
        ASSERT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << text;
    }
    terminal.pump(milliseconds{1500});
    EXPECT_EQ(daemons.asked_main() + daemons.asked_storage(), 0U);
    expect_clean_end(terminal);
}

struct SpecialKey {
    const char* name;
    Key key;
    const char* shown; // on the screen that it leads to
};

std::ostream& operator<<(std::ostream& out, const SpecialKey& key) {
    return out << key.name;
}

class DiagnosticsDialogKey : public testing::TestWithParam<SpecialKey> {};

TEST_P(DiagnosticsDialogKey, LeadsOn) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer("serverStatistics", {statistics(parm("figure", "111"))});
    daemons.main.answer("listConnections", {"<zrpConsoleReply/>"});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 111"));
    ASSERT_TRUE(open_dialog(terminal));
    terminal.type("3"); // is forgotten
    terminal.press(GetParam().key);
    ASSERT_TRUE(terminal.wait_until([&] { return !dialog_is_open(terminal); })) << terminal.text();
    EXPECT_TRUE(terminal.wait_for(GetParam().shown)) << terminal.text();
    EXPECT_EQ(daemons.asked_main(), 0U);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, DiagnosticsDialogKey,
    testing::Values(SpecialKey{"ShiftTab", Key::kShiftTab, "Enter connection number"},
                    SpecialKey{"Left", Key::kLeft, "Enter connection number"},
                    SpecialKey{"PageUp", Key::kPageUp, "Enter connection number"},
                    SpecialKey{"F4", Key::kF4, "Enter connection number"},
                    SpecialKey{"F1", Key::kF1, "figure: 111"},
                    SpecialKey{"F8", Key::kF8, "figure: 111"},
                    SpecialKey{"Up", Key::kUp, "figure: 111"},
                    SpecialKey{"F2", Key::kF2, "figure: 111"},
                    SpecialKey{"Home", Key::kHome, "figure: 111"},
                    SpecialKey{"F7", Key::kF7, "ZRP Server Components"}),
    [](const auto& key) { return std::string(key.param.name); });

class DiagnosticsDialogForward : public testing::TestWithParam<SpecialKey> {};

TEST_P(DiagnosticsDialogForward, LeadsToParameters) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer("serverStatistics", {statistics(parm("figure", "111"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 111"));
    ASSERT_TRUE(open_dialog(terminal));
    terminal.press(GetParam().key);
    ASSERT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << terminal.text();
    ASSERT_TRUE(open_dialog(terminal));
    terminal.press(Key::kF2);
    EXPECT_TRUE(terminal.wait_for("figure: 111")) << terminal.text();
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Keys, DiagnosticsDialogForward,
                         testing::Values(SpecialKey{"Tab", Key::kTab, ""},
                                         SpecialKey{"Right", Key::kRight, ""},
                                         SpecialKey{"PageDown", Key::kPageDown, ""},
                                         SpecialKey{"F6", Key::kF6, ""}),
                         [](const auto& key) { return std::string(key.param.name); });

TEST(DiagnosticsDialog, F5OpensItAgainAndF12EndsTheProgram) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(open_dialog(terminal));
    terminal.type("12");
    ASSERT_TRUE(terminal.wait_for_text(kPromptRow, kLabelColumn + 18, "12"));
    terminal.press(Key::kF5);
    ASSERT_TRUE(terminal.wait_for_text(kPromptRow, kLabelColumn, "Enter selection ?    "));
    expect_clean_end(terminal);
}

TEST(DiagnosticsDialog, EndsWithTheProgramOnASignal) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(open_dialog(terminal));
    terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(terminal);
}

TEST(Diagnostics, NineAsksTheMainDaemonAndShowsFourColons) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "9"));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_main() >= 2; }));
    for (int line = 1; line <= 13; line++) {
        EXPECT_EQ(inside(terminal, line), (line <= 4 ? ":" : " ") + std::string(75, ' ')) << line;
    }
    EXPECT_EQ(daemons.asked_storage(), 0U);
    expect_clean_end(terminal);
}

TEST(Diagnostics, TenAsksTheStorageDaemonAndShowsOnlyTheBox) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "10"));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_storage() >= 2; }));
    EXPECT_TRUE(shows_box_only(terminal)) << terminal.text();
    EXPECT_EQ(daemons.asked_main(), 0U);
    expect_clean_end(terminal);
}

class DiagnosticsOddChoice : public testing::TestWithParam<const char*> {};

TEST_P(DiagnosticsOddChoice, AsksTheMainDaemonAndShowsOnlyTheBox) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, GetParam()));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_main() >= 2; }));
    EXPECT_TRUE(shows_box_only(terminal)) << terminal.text();
    EXPECT_EQ(daemons.asked_storage(), 0U);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Numbers, DiagnosticsOddChoice,
                         testing::Values("0", "abc", "-2", "-99999999999"));

TEST(Diagnostics, MinusOneIsAcceptedAndNobodyIsAsked) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "17"));
    ASSERT_TRUE(choose(terminal, "-1"));
    ASSERT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << terminal.text();
    const size_t asked = daemons.asked_main();
    terminal.pump(milliseconds{2500});
    EXPECT_EQ(daemons.asked_main(), asked);
    EXPECT_TRUE(shows_box_only(terminal)) << terminal.text();
    expect_clean_end(terminal);
}

class DiagnosticsRejectedChoice : public testing::TestWithParam<const char*> {};

TEST_P(DiagnosticsRejectedChoice, IsStoredAllTheSameSoThatOnlyTheBoxIsShown) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "17"));
    EXPECT_EQ(daemons.asked_storage(), 0U);
    ASSERT_TRUE(choose(terminal, GetParam()));
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_storage() >= 1; }));
    EXPECT_TRUE(terminal.wait_until([&] { return shows_box_only(terminal); })) << terminal.text();
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Numbers, DiagnosticsRejectedChoice,
                         testing::Values("19", "25", "4294967297"));

TEST(Diagnostics, ARejectedChoiceKeepsAnotherScreen) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer("serverStatistics", {statistics(parm("figure", "111"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for("figure: 111"));
    ASSERT_TRUE(choose(terminal, "19"));
    ASSERT_TRUE(terminal.wait_for("figure: 111"));
    terminal.pump(milliseconds{1500});
    EXPECT_EQ(daemons.asked_storage(), 0U);
    expect_clean_end(terminal);
}

TEST(Diagnostics, AValueThatShrinksLeavesItsLastDigitUntilTheScreenIsDrawnAnew) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "100")),
                                         server_reply(server_value("openFiles", "99"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "100 ")) << terminal.text();
    EXPECT_TRUE(wait_for_value(terminal, 2, "990 ")) << terminal.text();
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "99  ")) << terminal.text();
    expect_clean_end(terminal);
}

TEST(Diagnostics, ACounterThatAReplyDoesNotNameKeepsItsValue) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "100") +
                                                      server_value("openLinuxFiles", "200")),
                                         server_reply(server_value("openLinuxFiles", "201"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 3, "201 ")) << terminal.text();
    // Drawn anew, from the store alone.
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "100 ")) << terminal.text();
    EXPECT_TRUE(wait_for_value(terminal, 4, "0     "));
    expect_clean_end(terminal);
}

TEST(Diagnostics, AValueAbove2147483647WrapsToANegativeOne) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand,
                        {server_reply(server_value("openFiles", "2147483648") +
                                      server_value("openLinuxFiles", "4294967295"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    EXPECT_TRUE(wait_for_value(terminal, 2, "-2147483648 ")) << terminal.text();
    EXPECT_TRUE(wait_for_value(terminal, 3, "-1 "));
    expect_clean_end(terminal);
}

TEST(Diagnostics, OnlyTheStorageDaemonsMemoryRequestIsFoundWithItsTrailingBlank) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand,
                        {server_reply(server_value("ipcListener memory request", "11") +
                                      server_value("ipcListener memory request ", "12"))});
    daemons.storage.answer(kBksCommand, {bks_reply(bks_value("ipcListener memory request ", "21") +
                                                   bks_value("ipcListener memory request", "22"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "3"));
    EXPECT_TRUE(wait_for_value(terminal, 9, "11 ")) << terminal.text();
    ASSERT_TRUE(choose(terminal, "13"));
    EXPECT_TRUE(wait_for_value(terminal, 6, "21 ")) << terminal.text();
    expect_clean_end(terminal);
}

TEST(Diagnostics, TheLabelsOfTwoBksEventsEndOneColumnFurtherRight) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand,
                        {server_reply(server_value("BKS event failed", "4") +
                                      server_value("BKS Add trustee events", "5"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "6"));
    ASSERT_TRUE(wait_for_value(terminal, 5, "5 "));
    EXPECT_EQ(inside(terminal, 1), "    ZRP Server BKS received Events" + std::string(42, ' '));
    EXPECT_EQ(inside(terminal, 4).substr(19, 21), " BKS event failed: 4 ");
    EXPECT_EQ(inside(terminal, 5).substr(14, 26), " BKS Add trustee events:5 ");
    expect_clean_end(terminal);
}

TEST(Diagnostics, AsksEachDaemonAsItWantsToBeAsked) {
    ZRP_NEEDS_ROOT();
    const Daemons daemons;
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
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
    expect_clean_end(terminal);
}

TEST(Diagnostics, TracesEachCounterThatAReplyNames) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "17") +
                                                      server_value("never heard of", "1"))});
    TerminalOptions options = monitor(25, 80, {"-d"});
    options.child.directory = testing::TempDir();
    const std::string path = options.child.directory + "/zrptop.log";
    Terminal terminal(options);
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "17"));
    ASSERT_TRUE(open_dialog(terminal));
    terminal.press(Key::kUp);
    ASSERT_TRUE(terminal.wait_until([&] { return !dialog_is_open(terminal); }));
    expect_clean_end(terminal);
    std::ifstream file(path);
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    for (const char* line :
         {"\ninsert CMgr preallocated count\n", "\ninsert Purge volume requests\n",
          "\nfind openFiles --- value set = 17\n", "\nfind never heard of --- NOT FOUND\n",
          "\nSelectDiagnosticsType: fkey detected fkey=259\n", "\nrelease hash table\n"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line;
    }
    unlink(path.c_str());
}

// What a daemon can do wrong. The old values stay, and the next pass tries again.
struct Fault {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    return out << fault.name;
}

class DiagnosticsFault : public testing::TestWithParam<Fault> {};

TEST_P(DiagnosticsFault, OfTheMainDaemonLeavesTheOldValues) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer_raw(
        kServerCommand, {reply(server_reply(server_value("openFiles", "111"))), GetParam().bytes,
                         GetParam().bytes, reply(server_reply(server_value("openFiles", "222")))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "111"));
    ASSERT_TRUE(wait_for_value(terminal, 7, "0")); // all is painted
    const stage::Snapshot before = terminal.eye().snapshot();
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_main() >= 3; }));
    EXPECT_EQ(terminal.eye().snapshot(), before);
    EXPECT_TRUE(wait_for_value(terminal, 2, "222")) << terminal.text();
    expect_clean_end(terminal);
}

TEST_P(DiagnosticsFault, OfTheStorageDaemonLeavesTheOldValues) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.storage.answer_raw(kBksCommand,
                               {reply(bks_reply(bks_value("Request", "111"))), GetParam().bytes,
                                GetParam().bytes, reply(bks_reply(bks_value("Request", "222")))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "12"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "111"));
    ASSERT_TRUE(wait_for_value(terminal, 4, "0")); // all is painted
    const stage::Snapshot before = terminal.eye().snapshot();
    ASSERT_TRUE(terminal.wait_until([&] { return daemons.asked_storage() >= 3; }));
    EXPECT_EQ(terminal.eye().snapshot(), before);
    EXPECT_TRUE(wait_for_value(terminal, 2, "222")) << terminal.text();
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DiagnosticsFault,
    testing::Values(Fault{"WrongMagic", reply_header(4, 0, 0x12345678) + "text"},
                    Fault{"ShortHeader", reply_header(4).substr(0, 8)}, Fault{"NoReply", ""},
                    Fault{"EarlyClose", reply_header(5000) + "<zrpConsoleReply>"},
                    Fault{"ZeroLength", reply_header(0)},
                    Fault{"FourGigabytes", reply_header(0xFFFFFFFF)},
                    Fault{"ErrorStatus", reply("<a/>", 5)},
                    Fault{"ErrorElement", reply("<zrpConsoleReply><result value=\"-5\"/>"
                                                "</zrpConsoleReply>")},
                    Fault{"Unclosed", reply("<zrpConsoleReply><diagnostics><diagLevel>1")},
                    Fault{"Noise", reply(std::string("\x00\x1b[2J<\xff<<\"", 10))}),
    [](const auto& fault) { return std::string(fault.param.name); });

TEST(Diagnostics, ReadsTheCountersBeforeADamagedOne) {
    ZRP_NEEDS_ROOT();
    Daemons daemons;
    daemons.main.answer(kServerCommand, {server_reply(server_value("openFiles", "7") +
                                                      "<diagValue>openLinuxFiles</diagValue>" +
                                                      server_value("normalOpenCount", "9"))});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    ASSERT_TRUE(choose(terminal, "1"));
    ASSERT_TRUE(wait_for_value(terminal, 2, "7 "));
    ASSERT_TRUE(wait_for_value(terminal, 7, "0 "));
    EXPECT_EQ(value_at(terminal, 3), "0     ");
    EXPECT_EQ(value_at(terminal, 4), "0     ");
    expect_clean_end(terminal);
}

// All groups on the simulated server.
struct Group {
    const char* choice;
    const char* title;
    std::vector<std::string> labels;
};

std::ostream& operator<<(std::ostream& out, const Group& group) {
    return out << group.choice;
}

class DiagnosticsGroup : public testing::TestWithParam<Group> {
protected:
    void SetUp() override {
        ZRP_NEEDS_ROOT();
        server = ChildProcess({.arguments = {ZRPSIM_PROGRAM}, .standardOutput = stage::kPipe});
        ASSERT_EQ(server.read_line(), "ready");
    }

    static void expect_group(Terminal& terminal) {
        const Group& group = GetParam();
        ASSERT_TRUE(wait_for_windows(terminal));
        ASSERT_TRUE(choose(terminal, group.choice));
        ASSERT_TRUE(terminal.wait_for_text(kTop + 1, kLeft + 5, group.title)) << terminal.text();
        const int last = 1 + static_cast<int>(group.labels.size());
        ASSERT_TRUE(terminal.wait_until([&] { return value_at(terminal, last, 1) != " "; }))
            << terminal.text();
        for (int line = 2; line <= last; line++) {
            std::string label = group.labels.at(static_cast<size_t>(line - 2));
            const size_t width =
                label.starts_with("BKS Add") || label.starts_with("BKS Del") ? 38 : 37;
            label.insert(0, width - label.size(), ' ');
            EXPECT_EQ(inside(terminal, line).substr(0, 38), label + std::string(38 - width, ' '));
            EXPECT_EQ(value_at(terminal, line, 1).find_first_of("-0123456789"), 0U) << line;
        }
        EXPECT_EQ(inside(terminal, last + 1), std::string(76, ' '));
        expect_clean_end(terminal);
    }

    ChildProcess server;
};

TEST_P(DiagnosticsGroup, ShowsTitleLabelsAndValuesOnTheSmallScreen) {
    Terminal terminal(monitor(25, 80));
    expect_group(terminal);
}

TEST_P(DiagnosticsGroup, ShowsTitleLabelsAndValuesOnALargeScreen) {
    Terminal terminal(monitor(40, 100));
    expect_group(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    All, DiagnosticsGroup,
    testing::Values(
        Group{"1",
              "ZRP Server Directory Cache",
              {"open ZRP Files:", "open Linux Files:", "normal Opens:", "lazy Opens:",
               "lazy Closes:", "background Closes:"}},
        Group{"2",
              "ZRP Server Comm Layer",
              {"ReplyKeepBufferFilledOut:", "ReplyLargeBufferFilledOut:", "ReplyDiscard:",
               "ReplyKeepNoFragments:", "Verb not supported count:", "Bad request count:"}},
        Group{"3",
              "ZRP Server IPC/RPC",
              {"console rpc request count:", "Bad rpc request number count:",
               "bks rpc request count:", "ipcClient rpcs:", "ipcClient errors:",
               "ipcListener requests:", "ipcListener pool count:", "ipcListener memory request:",
               "ipcListener ENOMEM:", "ipcListener errors:"}},
        Group{"4",
              "ZRP Server Misc. Errors",
              {"Not logged in count:", "Boundary check failed count:", "No Console rights count:",
               "No malloc space count:", "Bad parameter count:", "Fatal I/O error count:",
               "Add Event count:", "Event failed:"}},
        Group{"5",
              "ZRP Server Trustees",
              {"Add trustee events:", "Delete trustee events:", "Security sync events:",
               "Set Inherited Rights mask events:"}},
        Group{"6",
              "ZRP Server BKS received Events",
              {"BKS events received:", "BKS unknown event:", "BKS event failed:",
               "BKS Add trustee events:", "BKS Delete trustee events:",
               "BKS Set Inherited rights events:"}},
        Group{"7",
              "ZRP Server Delete files",
              {"Scan Deleted files events:", "Purge Deleted file events:",
               "Salvage Deleted file events:", "Purge volume events:"}},
        Group{"8",
              "ZRP Server User/Directory quotas",
              {"Scan volume user restrictions events:", "Add volume user restrictions events:",
               "Get volume user restrictions events:", "Delete user restrictions events:",
               "Set Directory quota requests:", "Return Directory quota requests:"}},
        Group{"11", "zrp2bks Daemon Manage Access", {"manage.cmd:", "files.cmd:", "linux.cmd:"}},
        Group{"12", "zrp2bks Daemon Requests", {"requests:", "failed:", "null requests:"}},
        Group{"13",
              "zrp2bks Daemon IPC/RPC",
              {"ipcClient rpcs:", "ipcClient errors:", "ipcListener requests:",
               "ipcListener pool count:", "ipcListener memory request:", "ipcListener ENOMEM:",
               "ipcListener errors:"}},
        Group{"14", "zrp2bks Daemon KVQ Events", {"recieved:", "failed:", "partials:", "unknown:"}},
        Group{"15",
              "zrp2bks Daemon Volume Access",
              {"list volumes:", "volume info:", "pool info:", "dismount request:", "mount request:",
               "mount point info:", "purge volume:", "change volume state:"}},
        Group{"16",
              "zrp2bks Daemon User/Directory quotas",
              {"Scan volume user quota request:", "Get Directory quota requests:",
               "Set Directory quota requests:", "Remove user quota requests:"}},
        Group{"17",
              "zrp2bks Daemon Deleted files",
              {"Scan Deleted files requests:", "Purge Deleted file requests:",
               "Salvage Deleted file requests:"}},
        Group{"18",
              "zrp2bks Daemon Trustees",
              {"Add trustee requests:", "Delete trustee requests:", "Scan trustee requests:",
               "Set Inherited Rights mask requests:"}}),
    [](const auto& group) { return std::string("Group") + group.param.choice; });

} // namespace
} // namespace zrp
