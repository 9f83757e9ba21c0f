// The Volume screen: labels, values, and what stays when the server fails.

#include "tests/terminal/trace_folder.h"
#include "tests/terminal/volume_fixture.h"

namespace zrp::volume_test {
namespace {

using namespace volume_fixture;

const std::string kTwoVolumes = volume_list(listed(0, "SYS") + listed(3, "DATA"));

std::string value(const VolumeFixture& fixture, int row, int count) {
    return fixture.terminal.screen().text_at(row, kValueColumn, count);
}

bool wait_for_value(VolumeFixture& fixture, int row, const std::string& text) {
    return fixture.terminal.wait_for_text(row, kValueColumn, text);
}

// Waits for so many further requests for the volume.
bool wait_for_updates(VolumeFixture& fixture, size_t count) {
    const size_t before = fixture.daemon->requests("volumeInformation").size();
    return fixture.terminal.wait_until(
        [&] { return fixture.daemon->requests("volumeInformation").size() >= before + count; });
}

TEST(Volume, DrawsTitleAndLabelsWithTheirColonsInOneColumn) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("3", {.name = "DATA"}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333"));
    const char* const rows[] = {
        "    Volume: DATA     ",        "                   Status:  ",
        "              Mount point:  ", "       Shadow Mount point:  ",
        "                 Capacity:  ", "             Cached files:  ",
        "           Cached folders:  ", "            trustee count:  ",
        "                            ",
    };
    int row = kTitleRow;
    for (const std::string text : rows) {
        EXPECT_EQ(fixture.terminal.screen().text_at(row, 2, static_cast<int>(text.size())), text);
        row++;
    }
    EXPECT_EQ(fixture.terminal.cell(kTitleRow, kTitleColumn),
              (harness::Cell{.text = "V", .foreground = kWhite, .background = kBlue}));
}

TEST(Volume, DrawsTheValuesAfterTheLabels) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.status = "0x40000003", .shadow = "<shadow>/s</shadow>"}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333 ")) << fixture.terminal.text();
    EXPECT_EQ(value(fixture, kStatusRow, 24), "online mounted BKS      ");
    EXPECT_EQ(value(fixture, kMountPointRow, 10), "/mnt/sys  ");
    EXPECT_EQ(value(fixture, kShadowRow, 5), "n/a  ");
    EXPECT_EQ(value(fixture, kCapacityRow, 6), "8 MB  ");
    EXPECT_EQ(value(fixture, kFilesRow, 5), "111  ");
    EXPECT_EQ(value(fixture, kFoldersRow, 5), "222  ");
}

TEST(Volume, RequestsTheVolumeByNameInVersion5) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("3", {}));
    ASSERT_TRUE(wait_for_updates(fixture, 1));
    EXPECT_EQ(fixture.daemon->requests("volumeInformation").at(0),
              "<zrpConsoleRequest pid=\"" + std::to_string(fixture.terminal.child().pid()) +
                  "\"><volumeInformation>\n<volume><name>DATA</name><versionTag>5</versionTag>"
                  "</volume>\n</volumeInformation></zrpConsoleRequest>");
}

struct StatusCase {
    const char* name;
    const char* status;
    const char* words;
};

class VolumeStatus : public testing::TestWithParam<StatusCase> {};

TEST_P(VolumeStatus, ShowsItsWords) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.status = GetParam().status}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333"));
    EXPECT_EQ(value(fixture, kStatusRow, 40).substr(0, strlen(GetParam().words) + 3),
              std::string(GetParam().words) + "   ");
}

INSTANTIATE_TEST_SUITE_P(Bits, VolumeStatus,
                         testing::Values(StatusCase{"Zero", "0", "dismounted "},
                                         StatusCase{"Mounted", "0x3", "online mounted "},
                                         StatusCase{"HiddenBks", "0xC0000000",
                                                    "dismounted hidden BKS "}),
                         [](const auto& status) { return std::string(status.param.name); });

TEST(Volume, AStatusLongerThanTheRowIsCutAtTheFrame) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.status = "0xFFFFFFFF"}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333"));
    EXPECT_EQ(value(fixture, kStatusRow, 48),
              "online activating mounted \"being mounted\" \"read ");
    EXPECT_EQ(fixture.terminal.cell(kStatusRow, 78).text, kVertical);
    EXPECT_EQ(fixture.terminal.cell(kMountPointRow, 1).text, kVertical);
}

TEST(Volume, AVolumeNameOf16CharactersIsRequested) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(1, "ABCDEFGHIJKLMNOP"))});
    ASSERT_TRUE(fixture.choose("1", {}));
    EXPECT_TRUE(wait_for_value(fixture, kTrusteesRow, "333")) << fixture.terminal.text();
}

TEST(Volume, AVolumeNameOf17CharactersIsSelectedButNeverRequested) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({volume_list(listed(1, "ABCDEFGHIJKLMNOPQ"))});
    ASSERT_TRUE(fixture.choose("1", {}));
    EXPECT_TRUE(
        fixture.terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: ABCDEFGHIJKLMNOPQ"));
    ASSERT_TRUE(fixture.wait_for_whole_pass());
    EXPECT_TRUE(fixture.daemon->requests("volumeInformation").empty());
    EXPECT_EQ(value(fixture, kStatusRow, 10), std::string(10, ' '));
}

TEST(Volume, AShorterValueLeavesTheRestOfTheOldOne) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose(
        "0", {.mountPoint = "<mountPoint>/a/long/path</mountPoint>", .files = "12345"}));
    ASSERT_TRUE(wait_for_value(fixture, kFilesRow, "12345"));
    fixture.daemon->answer(
        "volumeInformation",
        {volume_information(
            {.status = "0", .mountPoint = "<mountPoint>/b</mountPoint>", .files = "9"})});
    ASSERT_TRUE(wait_for_value(fixture, kFilesRow, "92345 ")) << fixture.terminal.text();
    EXPECT_EQ(value(fixture, kMountPointRow, 12), "/b/long/path");
    EXPECT_EQ(value(fixture, kStatusRow, 16), "dismounted ted  "); // over "online mounted "
}

TEST(Volume, AnEmptyValueLeavesTheOldOne) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {}));
    ASSERT_TRUE(wait_for_value(fixture, kMountPointRow, "/mnt/sys"));
    fixture.daemon->answer(
        "volumeInformation",
        {volume_information({.mountPoint = "<mountPoint></mountPoint>", .files = "777"})});
    ASSERT_TRUE(wait_for_value(fixture, kFilesRow, "777"));
    EXPECT_EQ(value(fixture, kMountPointRow, 8), "/mnt/sys");
}

TEST(Volume, TextsOfTheServerAreNotInterpreted) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose(
        "0", {.mountPoint = "<mountPoint>/%s%n/Gr\u00fc\u00dfe\x1b[2J</mountPoint>"}));
    EXPECT_TRUE(wait_for_value(fixture, kMountPointRow, "/%s%n/Gr\u00fc\u00dfe?[2J "))
        << fixture.terminal.text();
}

TEST(Volume, TheLargestFiguresFit) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.clusters = "0x7FFFFFFFFFFFF",
                                     .files = "0xFFFFFFFFFFFFFFFF",
                                     .folders = "010",
                                     .trustees = "4294967296"}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "4294967296 "));
    EXPECT_EQ(value(fixture, kCapacityRow, 10), "7.99 EB   ");
    EXPECT_EQ(value(fixture, kFilesRow, 21), "18446744073709551615 ");
    EXPECT_EQ(value(fixture, kFoldersRow, 3), "8  ");
}

// In the layouts of other versions the figures are elsewhere, or missing.
TEST(Volume, AnAnswerInVersion2ShowsItsShadowMountPoint) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.version = 2, .shadow = "<shadow>/mnt/shadow</shadow>"}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333 ")) << fixture.terminal.text();
    EXPECT_EQ(value(fixture, kShadowRow, 12), "/mnt/shadow ");
    EXPECT_EQ(value(fixture, kCapacityRow, 5), "8 MB ");
    EXPECT_EQ(value(fixture, kFilesRow, 4), "111 ");
}

TEST(Volume, AnAnswerInVersion2WithoutAShadowShowsNone) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.version = 2}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333 "));
    EXPECT_EQ(value(fixture, kShadowRow, 4), "n/a ");
}

class OtherVersion : public testing::TestWithParam<int> {};

TEST_P(OtherVersion, ShowsTheSameFigures) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(
        fixture.choose("0", {.version = GetParam(), .shadow = "<shadow>/mnt/shadow</shadow>"}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333 ")) << fixture.terminal.text();
    EXPECT_EQ(value(fixture, kStatusRow, 15), "online mounted ");
    EXPECT_EQ(value(fixture, kMountPointRow, 9), "/mnt/sys ");
    EXPECT_EQ(value(fixture, kShadowRow, 4), "n/a ");
    EXPECT_EQ(value(fixture, kCapacityRow, 5), "8 MB ");
    EXPECT_EQ(value(fixture, kFilesRow, 4), "111 ");
    EXPECT_EQ(value(fixture, kFoldersRow, 4), "222 ");
}

INSTANTIATE_TEST_SUITE_P(Answered, OtherVersion, testing::Values(1, 4, 6));

TEST(Volume, AnAnswerInVersion3HasNoFigures) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.version = 3}));
    ASSERT_TRUE(wait_for_value(fixture, kShadowRow, "n/a")) << fixture.terminal.text();
    EXPECT_EQ(value(fixture, kMountPointRow, 9), "/mnt/sys ");
    for (const int row : {kCapacityRow, kFilesRow, kFoldersRow, kTrusteesRow}) {
        EXPECT_EQ(value(fixture, row, 8), std::string(8, ' '));
    }
}

// Faulty replies: the old values stay, and the next pass tries again.
struct VolumeFaultCase {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const VolumeFaultCase& fault) {
    return out << fault.name;
}

const VolumeFacts kNewFacts = {.status = "0", .clusters = "7", .files = "999"};

std::string new_reply(int version) {
    VolumeFacts facts = kNewFacts;
    facts.version = version;
    return reply(volume_information(facts));
}

std::string without_mount_point(int version) {
    VolumeFacts facts = kNewFacts;
    facts.version = version;
    facts.mountPoint = "";
    return reply(volume_information(facts));
}

std::string with_name(const std::string& name) {
    VolumeFacts facts = kNewFacts;
    facts.name = name;
    return reply(volume_information(facts));
}

class VolumeFault : public testing::TestWithParam<VolumeFaultCase> {};

TEST_P(VolumeFault, LeavesTheOldValuesUntilTheNextPassSucceeds) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333"));
    const harness::Snapshot before = fixture.terminal.screen().snapshot();
    fixture.daemon->answer_raw("volumeInformation", {GetParam().bytes});
    ASSERT_TRUE(wait_for_updates(fixture, 2)); // the first is processed
    EXPECT_EQ(but_status_row(fixture.terminal.screen().snapshot()), but_status_row(before))
        << fixture.terminal.text();
    fixture.daemon->answer("volumeInformation", {volume_information(kNewFacts)});
    EXPECT_TRUE(wait_for_value(fixture, kFilesRow, "999")) << fixture.terminal.text();
    expect_clean_end(fixture.terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, VolumeFault,
    testing::Values(
        VolumeFaultCase{"WrongMagic", reply_header(4, 0, 0x12345678) + "text"},
        VolumeFaultCase{"ShortHeader", reply_header(4).substr(0, 8)},
        VolumeFaultCase{"NoReply", ""},
        VolumeFaultCase{"EarlyClose", reply_header(9000) + new_reply(5).substr(12, 300)},
        VolumeFaultCase{"ZeroLength", reply_header(0)},
        VolumeFaultCase{"ErrorStatus", reply(volume_information(kNewFacts), 5)},
        VolumeFaultCase{"ErrorElement", reply(server_error(-5) + volume_information(kNewFacts))},
        VolumeFaultCase{"WriteError", reply("<writeResult>" + volume_information(kNewFacts))},
        VolumeFaultCase{"Noise", reply(std::string("\x00\x1b[2J<\xff<<\"", 10))},
        VolumeFaultCase{"Version7", new_reply(7)}, VolumeFaultCase{"Version0", new_reply(0)},
        VolumeFaultCase{"VersionBelow0", new_reply(-1)},
        VolumeFaultCase{"NoMountPoint", without_mount_point(5)},
        VolumeFaultCase{"NoMountPointInVersion1", without_mount_point(1)},
        VolumeFaultCase{"NameOf32Characters", with_name(std::string(32, 'x'))}),
    [](const auto& fault) { return std::string(fault.param.name); });

TEST(Volume, F3AndAChoiceRedrawTheWholeScreen) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {.files = "12345"}));
    ASSERT_TRUE(wait_for_value(fixture, kFilesRow, "12345"));
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt));
    fixture.daemon->answer("volumeInformation", {volume_information({.files = "9"})});
    fixture.terminal.type("3\r");
    ASSERT_TRUE(fixture.terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: DATA"));
    EXPECT_TRUE(wait_for_value(fixture, kFilesRow, "9    ")) << fixture.terminal.text();
    EXPECT_EQ(fixture.terminal.screen().find_row("Enter volume"), -1);
}

// The last number is kept even when the user then quits: no volume has it.
TEST(Volume, ARefusedNumberStopsTheFiguresOfTheShownVolume) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes});
    ASSERT_TRUE(fixture.choose("0", {}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333"));
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt));
    fixture.terminal.type("300\rq\r");
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return fixture.terminal.screen().find_row("Enter volume") == -1; }));
    ASSERT_TRUE(wait_for_updates(fixture, 2));
    EXPECT_NE(fixture.daemon->requests("volumeInformation").back().find("<name></name>"),
              std::string::npos);
    expect_clean_end(fixture.terminal);
}

TEST(Volume, FitsTheSmallestTerminal) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes}, 25, 40);
    fixture.daemon->answer("volumeInformation", {volume_information({})});
    ASSERT_TRUE(wait_for_windows(fixture.terminal));
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_for("Enter volume number"));
    fixture.terminal.type("0\r");
    ASSERT_TRUE(wait_for_value(fixture, kStatusRow, "online m")) << fixture.terminal.text();
    EXPECT_EQ(fixture.terminal.cell(kStatusRow, 38).text, kVertical);
    EXPECT_EQ(fixture.terminal.cell(kMountPointRow, 1).text, kVertical);
}

TEST(Volume, AWideTerminalShowsMoreOfAStatus) {
    ZRP_NEEDS_ROOT();
    VolumeFixture fixture({kTwoVolumes}, 40, 100);
    ASSERT_TRUE(fixture.choose("0", {.status = "0xFFFFFFFF"}));
    EXPECT_TRUE(
        wait_for_value(fixture, kStatusRow,
                       "online activating mounted \"being mounted\" \"read only\" \"data migra"))
        << fixture.terminal.text();
}

// On the simulated server, whose figures change.
class SimulatedVolumes {
public:
    explicit SimulatedVolumes(std::vector<std::string> arguments)
        : child({.arguments = with_program(std::move(arguments)),
                 .standardOutput = harness::kPipe}) {}

    static std::vector<std::string> with_program(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ZRPSIM_PROGRAM);
        return arguments;
    }

    harness::ChildProcess child;
};

bool open_dialog_of_simulation(Terminal& terminal) {
    if (!terminal.wait_for("Server Up Time: ") || !terminal.wait_until([&] {
            return terminal.screen().text_at(kStripTextRow, kUpTimeColumn, 1) != " ";
        })) {
        return false;
    }
    terminal.press(Key::kF3);
    return terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt);
}

TEST(Volume, ShowsAVolumeOfTheSimulatedServer) {
    ZRP_NEEDS_ROOT();
    SimulatedVolumes server({});
    Terminal terminal(monitor(40, 100));
    ASSERT_TRUE(open_dialog_of_simulation(terminal)) << terminal.text();
    terminal.type("0\r");
    ASSERT_TRUE(terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: ")) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(kShadowRow, kValueColumn, "n/a"));
    EXPECT_EQ(terminal.screen().text_at(kMountPointRow, kValueColumn, 1), "/");
    const std::string files = terminal.screen().text_at(kFilesRow, kValueColumn, 10);
    EXPECT_TRUE(terminal.wait_until([&] {
        return terminal.screen().text_at(kFilesRow, kValueColumn, 10) != files;
    })) << terminal.text();
    expect_clean_end(terminal);
}

TEST(Volume, PagesThrough256Volumes) {
    ZRP_NEEDS_ROOT();
    SimulatedVolumes server({"--volumes", "256"});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_dialog_of_simulation(terminal)) << terminal.text();
    constexpr int kChangingTurns = 2;
    std::vector<int> starts;
    for (int turn = 0; turn < 5; turn++) {
        ASSERT_TRUE(terminal.wait_for_rest()); // the whole page is drawn
        const std::string before = terminal.screen().row(kFirstListRow);
        starts.push_back(std::stoi(terminal.screen().text_at(kFirstListRow, kListColumns[0], 4)));
        terminal.type("+\r");
        // Between two pages the row is empty for a moment.
        ASSERT_TRUE(turn >= kChangingTurns || terminal.wait_until([&] {
            return terminal.screen().row(kFirstListRow) != before &&
                   isdigit(terminal.cell(kFirstListRow, kListColumns[0]).text.front()) != 0;
        })) << terminal.text();
    }
    EXPECT_EQ(starts[0], 0);
    EXPECT_GE(starts[1], 24);
    EXPECT_GE(starts[2], 48);
    EXPECT_EQ(starts[3], starts[2]); // no more entries are drawn
    EXPECT_EQ(starts[4], starts[2]);
}

// Expects the lines in this order, with others possibly between them.
void expect_trace_lines(const std::string& trace, const std::vector<std::string>& lines) {
    size_t from = 0;
    for (const std::string& line : lines) {
        const size_t found = trace.find(line + "\n", from);
        ASSERT_NE(found, std::string::npos) << line << "\nafter byte " << from << " of\n" << trace;
        from = found + line.size();
    }
}

TEST(Volume, TracesTheDialogAndTheScreen) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    const std::string list = volume_list(listed(0, "SYS") + listed(4, "OFF", "0x1"));
    VolumeFixture fixture({list}, traced_monitor(folder));
    ASSERT_TRUE(fixture.choose("0", {}));
    ASSERT_TRUE(wait_for_value(fixture, kTrusteesRow, "333"));
    fixture.terminal.press(Key::kF3);
    ASSERT_TRUE(fixture.terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt));
    fixture.terminal.press(Key::kUp);
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return fixture.terminal.screen().find_row("Enter volume") == -1; }));
    expect_clean_end(fixture.terminal);
    expect_trace_lines(folder.trace(),
                       {"SelectVolumeNumber: call do_list_volumes()",
                        "do_list_volumes: BuildListVolumesRequest(0)",
                        "do_list_volumes: startingIndex=-1 szReply=" + std::to_string(list.size()),
                        "do_list_volumes: reply=\n\"" + list + "\"\n",
                        "do_list_volumes: reply+offset=\n\"" + list + "\"\n",
                        "do_list_volumes: ScanListVolumesReply() v=SYS stat=3 id=0",
                        "do_list_volumes: ScanListVolumesReply() v=OFF stat=1 id=4",
                        "do_list_volumes: v=OFF stat=1 id=4 NOT MOUNTED",
                        "do_list_volumes: ScanListVolumesReply() rc=22",
                        "do_list_volumes: volumeCount=1", "SelectVolumeNumber: wgetnstr() str=0",
                        "SelectVolumeNumber: select SYS id=0",
                        "updateVolumeWindow: call BuildVolumeInformationRequest",
                        "updateVolumeWindow: call QueryZRPServer",
                        "updateVolumeWindow: reply=\n\"" + volume_information({}) + "\"\n",
                        "SelectVolumeNumber: fkey detected fkey=259"});
}

TEST(Volume, TracesWhatFails) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    VolumeFixture fixture({kTwoVolumes}, traced_monitor(folder));
    fixture.daemon->answer_raw("listVolumes", {reply("", 5), reply(volume_list("")),
                                               reply(server_error(9)), reply(kTwoVolumes)});
    ASSERT_TRUE(wait_for_windows(fixture.terminal));
    fixture.terminal.type("\x1bOR\x1bOR\x1bOR"); // F3 three times
    ASSERT_TRUE(fixture.terminal.wait_until(
        [&] { return fixture.daemon->requests("listVolumes").size() == 3; }));
    fixture.daemon->answer_raw("volumeInformation", {reply("", 6), reply(server_error(8)), ""});
    ASSERT_TRUE(fixture.open_dialog());
    fixture.terminal.type("0\r");
    ASSERT_TRUE(wait_for_updates(fixture, 3));
    expect_clean_end(fixture.terminal);
    expect_trace_lines(
        folder.trace(),
        {"do_list_volumes: QueryZRPServer() rc=5", "SelectVolumeNumber: do_list_volumes() rc=5",
         "SelectVolumeNumber: do_list_volumes() volumeCount == 0",
         "do_list_volumes: CheckForError() rc=9", "do_list_volumes: volumeCount=0",
         "updateVolumeWindow: QueryZRPServer rc=6", "updateVolumeWindow: CheckForError rc=8"});
}

} // namespace
} // namespace zrp::volume_test
