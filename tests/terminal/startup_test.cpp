// Start-up: root, options, terminal size, menu, windows and colours.

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "tests/support/expected_screens.h"
#include "tests/terminal/session.h"
#include "tests/terminal/thread_sleeps.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::startup_test {
namespace {

namespace fs = std::filesystem;

// Runs a command as a user other than root.
std::vector<std::string> as_ordinary_user(const std::vector<std::string>& command) {
    const bool namespaces = test_network().kind == harness::NetworkKind::kPrivate;
    std::vector<std::string> all = namespaces
                                       ? std::vector<std::string>{"unshare", "--user"}
                                       : std::vector<std::string>{"setpriv", "--reuid=65534"};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

const std::string kTraceHead = "\n" + std::string(87, '*') + "\n";

TEST(StartUp, AUserOtherThanRootIsRefusedEvenHelp) {
    ZRP_NEEDS_ROOT();
    // A copy, since other users may have no access to the build.
    const TraceFolder folder;
    const std::string program = folder.path / "zrptop";
    fs::copy_file(ZRPTOP_PROGRAM, program);
    fs::permissions(folder.path, fs::perms::others_exec, fs::perm_options::add);
    harness::ChildProcess child(
        {.arguments = as_ordinary_user({program, "-h"}), .standardOutput = harness::kPipe});
    EXPECT_EQ(child.read_all(), "must be root.\n");
    EXPECT_EQ(child.wait(), ExitStatus{.code = 1});
}

void expect_banner(const char* option) {
    harness::ChildProcess child({.arguments = {ZRPTOP_PROGRAM, option},
                                 .standardOutput = harness::kPipe,
                                 .standardErrors = harness::kNull});
    EXPECT_EQ(child.read_line(), "zrptop - Velmora ZRP Server Monitoring Utility");
    EXPECT_TRUE(child.read_line().has_value());
    EXPECT_EQ(child.read_line(), "This program is unsupported by Velmora, Inc.");
    EXPECT_EQ(child.read_all(), "");
    EXPECT_EQ(child.wait(), ExitStatus{});
}

TEST(Usage, PrintsTheBannerAndExitsWithZero) {
    ZRP_NEEDS_ROOT();
    for (const char* option : {"-h", "-H", "-?", "--help", "--?"}) {
        SCOPED_TRACE(option);
        expect_banner(option);
    }
}

TEST(Usage, AnUnknownOptionPrintsTheBannerToo) {
    ZRP_NEEDS_ROOT();
    for (const char* option : {"-x", "--unknown"}) {
        SCOPED_TRACE(option);
        expect_banner(option);
    }
}

TEST(StartUp, ATerminalOf24LinesHasTooFewLinesEvenIfItIsTooNarrowAsWell) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor(24, 39));
    expect_ended_cleanly(terminal);
    EXPECT_NE(
        terminal.raw_output().find("\nPlease enlarge the terminal screen -- not enough lines\r\n"),
        std::string::npos)
        << terminal.raw_output();
}

TEST(StartUp, ATerminalOf39ColumnsHasTooFewColumns) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor(25, 39));
    expect_ended_cleanly(terminal);
    EXPECT_NE(terminal.raw_output().find(
                  "\nPlease enlarge the terminal screen -- not enough columns\r\n"),
              std::string::npos)
        << terminal.raw_output();
}

TEST(StartUp, ATerminalOf25LinesAnd40ColumnsIsAccepted) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor(25, 40));
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    expect_clean_end(terminal);
}

TEST(StartUp, OnANarrowTerminalEachMenuLineIsCutAtItsRow) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor(25, 40));
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    EXPECT_EQ(terminal.screen().text_at(0, 0, 40), std::string(kExpectedMenu[0], 40));
    EXPECT_EQ(terminal.screen().text_at(1, 0, 40), std::string(kExpectedMenu[1], 40));
    EXPECT_EQ(terminal.cell(2, 0).text, " ");
}

class Size : public testing::TestWithParam<std::pair<int, int>> {};

TEST_P(Size, PlacesMenuStripAndMainWindow) {
    ZRP_NEEDS_ROOT();
    const auto [rows, columns] = GetParam();
    const ScriptedPeer peer(kMainDaemonSocket, answers({statistics(up_time("9"))}));
    Terminal terminal(monitor(rows, columns));
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    EXPECT_EQ(terminal.row(0), kExpectedMenu[0]);
    EXPECT_EQ(terminal.row(1), kExpectedMenu[1]);

    const int right = columns - 2;
    EXPECT_EQ(terminal.cell(2, 1).text, kTopLeft);
    EXPECT_EQ(terminal.cell(2, right).text, kTopRight);
    EXPECT_EQ(terminal.cell(4, 1).text, kBottomLeft);
    EXPECT_EQ(terminal.cell(4, right).text, kBottomRight);
    EXPECT_EQ(terminal.screen().text_at(3, 2, 15), "Server Up Time:");

    const int bottom = rows - 6;
    EXPECT_EQ(terminal.cell(5, 1).text, kTopLeft);
    EXPECT_EQ(terminal.cell(5, right).text, kTopRight);
    EXPECT_EQ(terminal.cell(bottom, 1).text, kBottomLeft);
    EXPECT_EQ(terminal.cell(bottom, right).text, kBottomRight);
    for (int row = bottom + 1; row < rows; row++) {
        EXPECT_EQ(terminal.row(row), "") << row;
    }
}

INSTANTIATE_TEST_SUITE_P(Terminals, Size, testing::Values(std::pair{25, 80}, std::pair{40, 100}));

TEST(StartUp, TheMenuIsCyanOnBlackAndTheWindowsAreWhiteOnBlue) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    for (const int row : {0, 1}) {
        EXPECT_EQ(terminal.cell(row, 0).foreground, kCyan);
        EXPECT_EQ(terminal.cell(row, 0).background, kBlack);
    }
    for (const auto& [row, column] :
         {std::pair{2, 1}, {3, 2}, {3, 50}, {5, 1}, {10, 40}, {19, 78}}) {
        EXPECT_EQ(terminal.cell(row, column).foreground, kWhite) << row << ' ' << column;
        EXPECT_EQ(terminal.cell(row, column).background, kBlue) << row << ' ' << column;
    }
    EXPECT_FALSE(terminal.screen().cursor().visible);
}

TEST(StartUp, ResizingTheTerminalMovesNoWindow) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.resize(45, 120);
    terminal.press(Key::kF6);
    terminal.press(Key::kF2);
    ASSERT_TRUE(terminal.wait_for_rest()); // both switches are done
    ASSERT_TRUE(wait_for_idle_pass(terminal));
    EXPECT_EQ(terminal.cell(2, 78).text, kTopRight) << terminal.text();
    EXPECT_EQ(terminal.cell(19, 78).text, kBottomRight) << terminal.text();
    expect_clean_end(terminal);
}

TEST(Trace, BeginsWithARuleAndTheSizes) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal));
    EXPECT_TRUE(folder.trace().starts_with(kTraceHead + "maxy=25 maxx=80 LINES=25 COLS=80\n"))
        << folder.trace();
}

TEST(Trace, TheOptionGivenTwiceLeavesOneNewTrace) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    std::ofstream(folder.path / "zrptop.log") << "of an earlier run\n";
    TerminalOptions options = traced_monitor(folder);
    options.child.arguments.emplace_back("--d");
    Terminal terminal(options);
    ASSERT_TRUE(wait_for_windows(terminal));
    EXPECT_TRUE(folder.trace().starts_with(kTraceHead + "maxy=25 maxx=80 LINES=25 COLS=80\n"))
        << folder.trace();
}

TEST(Trace, IsWrittenBeforeATerminalIsRefused) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder, 20, 80));
    expect_ended_cleanly(terminal);
    EXPECT_EQ(folder.trace(), kTraceHead + "maxy=20 maxx=80 LINES=20 COLS=80\n");
}

TEST(Trace, IsSilentlyOmittedIfItCannotBeOpened) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    fs::create_directory(folder.path / "zrptop.log");
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    expect_clean_end(terminal);
}

// What may stand in the place of the trace, and that the program must neither wait for nor change.
struct PlantedCase {
    const char* name;
    void (*plant)(const fs::path& trace, const fs::path& victim);
};

class PlantedTrace : public testing::TestWithParam<PlantedCase> {};

TEST_P(PlantedTrace, IsLeftAloneAndTheProgramRunsWithoutATrace) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    const fs::path victim = folder.path / "victim";
    std::ofstream(victim) << "precious";
    GetParam().plant(folder.path / "zrptop.log", victim);
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    expect_clean_end(terminal);
    std::string contents;
    std::getline(std::ifstream(victim), contents);
    EXPECT_EQ(contents, "precious");
    EXPECT_FALSE(fs::exists(folder.path / "new"));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PlantedTrace,
    testing::Values(
        PlantedCase{"Link", [](const fs::path& trace,
                               const fs::path& victim) { fs::create_symlink(victim, trace); }},
        PlantedCase{"LinkToNothing",
                    [](const fs::path& trace, const fs::path& victim) {
                        fs::create_symlink(victim.parent_path() / "new", trace);
                    }},
        PlantedCase{"HardLink",
                    [](const fs::path& trace, const fs::path& victim) {
                        fs::create_hard_link(victim, trace);
                    }},
        PlantedCase{"FifoWithoutAReader",
                    [](const fs::path& trace, const fs::path& /*victim*/) {
                        ASSERT_EQ(mkfifo(trace.c_str(), 0600), 0);
                    }},
        PlantedCase{"Folder", [](const fs::path& trace,
                                 const fs::path& /*victim*/) { fs::create_directory(trace); }}),
    [](const auto& planted) { return std::string(planted.param.name); });

TEST(Trace, IsNotWrittenToAFifo) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    const fs::path trace = folder.path / "zrptop.log";
    ASSERT_EQ(mkfifo(trace.c_str(), 0600), 0);
    const harness::Descriptor reader(open(trace.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal)) << terminal.text();
    expect_clean_end(terminal);
    char byte = 0;
    EXPECT_EQ(read(reader.get(), &byte, 1), 0) << "nothing, and no writer any more";
}

TEST(Trace, NamesEachKeyByItsCode) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal));
    for (const Key key : {Key::kF6, Key::kTab, Key::kShiftTab, Key::kUp}) {
        terminal.press(key);
    }
    terminal.type("+z");
    expect_clean_end(terminal);
    EXPECT_EQ(folder.trace_of("main"), "main: special key=270\n"
                                       "main: key=9\n"
                                       "main: special key=353\n"
                                       "main: special key=259\n"
                                       "main: key=43\n"
                                       "main: key=122\n"
                                       "main: special key=276\n");
}

TEST(Trace, NamesEachKeyOfADialogButNotTheKeyThatEndsIt) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    Terminal terminal(traced_monitor(folder));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF5);
    ASSERT_TRUE(terminal.wait_for("Enter selection"));
    terminal.type("12");
    terminal.press(Key::kBackspace);
    terminal.type("\x15"); // kill
    terminal.press(Key::kPageUp);
    terminal.press(Key::kF5);
    ASSERT_TRUE(terminal.wait_for("Enter selection"));
    terminal.type("q\r");
    expect_clean_end(terminal);
    EXPECT_EQ(folder.trace_of("main"), "main: special key=269\n"
                                       "main: special key=269\n"
                                       "main: special key=276\n");
    EXPECT_EQ(folder.trace_of("zrptop_wgetnstr"), "zrptop_wgetnstr: getch() key=49\n"
                                                  "zrptop_wgetnstr: normal key detected key=49\n"
                                                  "zrptop_wgetnstr: getch() key=50\n"
                                                  "zrptop_wgetnstr: normal key detected key=50\n"
                                                  "zrptop_wgetnstr: getch() key=263\n"
                                                  "zrptop_wgetnstr: erasec key detected key=263\n"
                                                  "zrptop_wgetnstr: getch() key=21\n"
                                                  "zrptop_wgetnstr: killc key detected key=21\n"
                                                  "zrptop_wgetnstr: getch() key=339\n"
                                                  "zrptop_wgetnstr: special key detected key=260\n"
                                                  "zrptop_wgetnstr: getch() key=113\n"
                                                  "zrptop_wgetnstr: normal key detected key=113\n"
                                                  "zrptop_wgetnstr: getch() key=10\n");
}

// Locales that users have.
class Locale : public testing::TestWithParam<Environment> {};

TEST_P(Locale, DoNotChangeTheFigures) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket,
                            answers({statistics(up_time("61") + parm("load", "0.25"))}));
    Terminal terminal(monitor_in(GetParam()));
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "load: 0.25")) << terminal.text();
    EXPECT_EQ(terminal.screen().text_at(3, kUpTimeColumn, 19), "1 Minute 1 Second  ");
    terminal.press(Key::kF12);
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
}

INSTANTIATE_TEST_SUITE_P(Locales, Locale,
                         testing::Values(Environment{"LANG"}, Environment{"LANG=C"},
                                         Environment{"LANG=C.UTF-8"}));

TEST(Locale, ALocaleWithADecimalCommaDoesNotChangeTheFigures) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    const std::string locale = (folder.path / "de_DE.UTF-8").string();
    harness::ChildProcess compiler(
        {.arguments = {"localedef", "-i", "de_DE", "-f", "UTF-8", locale},
         .standardErrors = harness::kNull});
    if (compiler.wait() != ExitStatus{}) {
        GTEST_SKIP() << "localedef cannot make the locale";
    }
    const ScriptedPeer peer(kMainDaemonSocket,
                            answers({statistics(up_time("61") + parm("load", "0.25"))}));
    Terminal terminal(monitor_in({"LOCPATH=" + folder.path.string(), "LC_ALL=de_DE.UTF-8"}));
    EXPECT_TRUE(terminal.wait_for_text(6, kListColumn, "load: 0.25")) << terminal.text();
    expect_clean_end(terminal);
}

TEST(StartUp, ATerminalWithoutColoursWorksToo) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({statistics(parm("requests", "7"))}));
    TerminalOptions options = monitor();
    options.term = "vt100";
    Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for_text(6, kListColumn, "requests: 7")) << terminal.text();
    EXPECT_EQ(terminal.cell(6, kListColumn).background, harness::kDefaultColor);
    terminal.press(Key::kF1); // a vt100 has no F12
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{}) << terminal.text();
}

} // namespace
} // namespace zrp::startup_test
