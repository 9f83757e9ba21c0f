// The Version screen, with the product's files in private folders.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/private_folder.h"
#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"
#include "tools/harness/process_state.h"

namespace zrp::version_test {
namespace {

using harness::ChildProcess;

constexpr int kTop = kMainTop;
constexpr int kVersionColumn = 6;   // of the terminal
constexpr int kIndentedColumn = 11; // of the terminal

const char* const kTitle = "ZRP Server Components";
const char* const kOwnRow = "      [zrptop] 2026-04-22_10:36:02_i386build22-.2048";

const char* const kEngineFile = "velmora/Dirkeep/lib/pqs-modules/libzrpengine.so";
const char* const kMarkerFile = "/opt/velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt";
const char* const kPlatformFile = "/opt/velmora/p_i_n_f_o.txt";

// Content of a program's file: the line between bytes that are not text.
std::string binary(const std::string& line) {
    return std::string("\x7f"
                       "ELF\0\0\0\1",
                       8) +
           "some other text" + std::string("\0\1\2", 3) + line + std::string("\0", 1);
}

// The folders that the monitor searches, without any file of the product.
struct Machine {
    PrivateFolder opt{"/opt"};
    PrivateFolder etc{"/etc"};
    std::string programs; // folder of those that replace the system's

    Machine() {
        std::string name = std::filesystem::temp_directory_path() / "version_test_XXXXXX";
        programs = mkdtemp(name.data());
        std::filesystem::create_directories("/opt/velmora/zrpserv/sbin");
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine() {
        for (const std::string& path : replaced) {
            umount2(path.c_str(), MNT_DETACH);
        }
        std::filesystem::remove_all(programs);
    }

    // Replaces a program of the system by a shell script, for this process and its children.
    void replace_program(const std::string& name, const std::string& script) {
        const std::string path = programs + "/" + name;
        std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
        chmod(path.c_str(), 0755);
        replaced.push_back("/usr/bin/" + name);
        ASSERT_EQ(mount(path.c_str(), replaced.back().c_str(), nullptr, MS_BIND, nullptr), 0);
    }

private:
    std::vector<std::string> replaced;
};

// A main daemon that only counts the passes of the monitor and never answers.
class PassCounter {
public:
    PassCounter() {
        daemon.answer(kStrip, {});
    }

    // Waits until a pass that began after the call is over: the next one begins with the strip.
    bool wait_for_whole_pass(Terminal& terminal) const {
        const size_t before = daemon.requests(kStrip).size();
        return terminal.wait_until([&] { return daemon.requests(kStrip).size() >= before + 2; });
    }

private:
    static constexpr const char* kStrip = "serverStatistics";

    CommandAnswers daemon;
    const ScriptedPeer peer{kMainDaemonSocket, {daemon.script()}};
};

std::string at_line(const Terminal& terminal, int line) {
    std::string text = terminal.screen().text_at(kTop + line, 2, 76);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string lines(const Terminal& terminal, int count) {
    std::string all;
    for (int line = 1; line <= count; line++) {
        all += at_line(terminal, line) + "\n";
    }
    return all;
}

bool show_versions(Terminal& terminal) {
    if (!wait_for_windows(terminal)) {
        return false;
    }
    terminal.press(Key::kF7);
    return terminal.wait_for_text(kTop + 1, kVersionColumn, kTitle);
}

// Waits until the screen shows these lines.
void expect_lines(Terminal& terminal, const std::vector<std::string>& expected) {
    std::string all;
    for (const std::string& line : expected) {
        all += line + "\n";
    }
    const int count = static_cast<int>(expected.size());
    terminal.wait_until([&] { return lines(terminal, count) == all; });
    EXPECT_EQ(lines(terminal, count), all);
}

const std::string kOwnLine = std::string("    ") + kOwnRow;

TEST(Version, WithoutDaemonsAndFilesShowsTitleOwnVersionReleaseAndPlatform) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.etc.write("velmora-release", "HLX Server 2026\nPATCHLEVEL = 1\n");
    machine.replace_program("uname", "test \"$1\" = -i && echo x86_64");
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "    HLX Version",
                            "         HLX Server 2026", "         PATCHLEVEL = 1", "",
                            "    Platform", "         x86_64", "", "", "", "", ""});
    expect_clean_end(terminal);
}

TEST(Version, WithoutAnySourceShowsOnlyItsOwnVersion) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "", "", "", "", "", "", "", "",
                            "", "", ""});
    expect_clean_end(terminal);
}

// All rows appear together, at the end of a pass.
TEST(Version, AsksTheRunningDaemonsFirst) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    machine.opt.write(kEngineFile, binary("VeRsIoZrP = from the file"));
    ChildProcess server({.arguments = {ZRPSIM_PROGRAM}, .standardOutput = harness::kPipe});
    ASSERT_EQ(server.read_line(), "ready");
    for (const auto& [rows, columns] : {std::pair{25, 80}, std::pair{40, 100}}) {
        Terminal terminal(monitor(rows, columns));
        ASSERT_TRUE(show_versions(terminal)) << terminal.text();
        expect_lines(terminal,
                     {std::string("    ") + kTitle,
                      "    [libzrpengine] 2026-03-30_14:21:09_x86_64build118-.4096",
                      "         [zrp2bks] 2026-03-30_14:24:51_x86_64build118-.2048",
                      "      [libomw2zrp] 2026-02-17_08:55:40_x86_64build97-.1024", kOwnLine, ""});
        expect_clean_end(terminal);
    }
}

TEST(Version, AnEmptyAnswerTakesNoRow) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    machine.opt.write("velmora/zrpserv/sbin/zrp2bks", binary("VeRsIoN = in the file"));
    machine.opt.write("velmora/zrpserv/sbin/zrpcon", binary("VeRsIoN = "));
    const PeerScript empty = {read_request(),
                              send_bytes(reply("<r><versionTag>\n</versionTag></r>"))};
    const ScriptedPeer main(kMainDaemonSocket, {empty});
    const ScriptedPeer storage(kStorageDaemonSocket, {empty});
    const ScriptedPeer management(kManagementSocket, {{read_request(), send_bytes(reply(""))}});
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "", "", "", "", "", "", "", "",
                            "", "", ""});
    expect_clean_end(terminal);
}

TEST(Version, SearchesTheFilesOfDaemonsThatDoNotAnswer) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "echo i386");
    machine.opt.write(kEngineFile, binary("VeRsIoZrP = engine 1"));
    machine.opt.write("velmora/zrpserv/sbin/zrp2bks", binary("VeRsIoN = storage 2"));
    machine.opt.write("velmora/lib/libomw2zrp.so", binary("VeRsIoN = management 3"));
    machine.opt.write("velmora/zrpserv/sbin/zrpshell", binary("VeRsIoN = shell 4"));
    machine.opt.write("velmora/zrpserv/sbin/zrpcon", binary("VeRsIoN = console 5"));
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, "    [libzrpengine] engine 1",
                            "         [zrp2bks] storage 2", "      [libomw2zrp] management 3",
                            kOwnLine, "        [zrpshell] shell 4", "          [zrpcon] console 5",
                            "", "    Platform", "         i386", "", "", ""});
    for (const char* path : {kMarkerFile, kPlatformFile}) {
        EXPECT_TRUE(terminal.wait_until([&] { return !std::filesystem::exists(path); })) << path;
    }
    expect_clean_end(terminal);
    EXPECT_FALSE(std::filesystem::exists(kMarkerFile));
    EXPECT_FALSE(std::filesystem::exists(kPlatformFile));
}

TEST(Version, AsksForThePlatformOnce) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const PassCounter passes;
    machine.replace_program("uname", "echo asked >> /opt/asked\necho i386");
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(kTop + 4, kIndentedColumn, "i386")) << terminal.text();
    ASSERT_TRUE(passes.wait_for_whole_pass(terminal));
    EXPECT_EQ(std::filesystem::file_size("/opt/asked"), strlen("asked\n"));
    expect_clean_end(terminal);
}

TEST(Version, PrefersTheEngineLibraryUnderUsrLib) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const PrivateFolder lib("/usr/lib");
    machine.opt.write(kEngineFile, binary("VeRsIoZrP = the other one"));
    lib.write("pqs-modules/libzrpengine.so", binary("VeRsIoZrP = this one"));
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(kTop + 2, kVersionColumn, "[libzrpengine] this one  "))
        << terminal.text();
    expect_clean_end(terminal);
}

TEST(Version, AShorterTextLeavesTheRestOfTheOldOne) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    machine.opt.write("velmora/zrpserv/sbin/zrpcon", binary("VeRsIoN = console 5"));
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(kTop + 3, kVersionColumn, "      [zrpcon] console 5"));
    machine.opt.write("velmora/zrpserv/sbin/zrpcon", binary("VeRsIoN = new"));
    EXPECT_TRUE(terminal.wait_for_text(kTop + 3, kVersionColumn, "      [zrpcon] newsole 5"))
        << terminal.text();
    expect_clean_end(terminal);
}

TEST(Version, AFileWithTheMarkerInsideALineIsTreatedAsMissing) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    machine.opt.write("velmora/zrpserv/sbin/zrp2bks", binary("x VeRsIoN = 1"));
    machine.opt.write("velmora/zrpserv/sbin/zrpshell", binary("VeRsIoZrP = 1"));
    machine.opt.write("velmora/zrpserv/sbin/zrpcon",
                      binary("VeRsIoN = the first line counts") + binary("VeRsIoN = 2"));
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine,
                            "          [zrpcon] the first line counts", "", "", ""});
    expect_clean_end(terminal);
}

TEST(Version, AMarkerLineLongerThanTheBufferIsCut) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.opt.write("velmora/zrpserv/sbin/zrp2bks",
                      binary("VeRsIoN = " + std::string(20000, 'v')));
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(kTop + 2, kVersionColumn,
                                       "     [zrp2bks] " + std::string(57, 'v') + kVertical))
        << terminal.text();
    expect_clean_end(terminal);
}

TEST(Version, AnEmptyReleaseFileShowsNothing) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    for (const char* contents : {"", "\n\n\n"}) {
        Machine machine;
        machine.replace_program("uname", "echo i386");
        machine.etc.write("velmora-release", contents);
        Terminal terminal(monitor());
        ASSERT_TRUE(show_versions(terminal)) << terminal.text();
        expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "    Platform",
                                "         i386", "", "", ""});
        expect_clean_end(terminal);
    }
}

TEST(Version, EmptyLinesOfTheReleaseFileTakeNoRow) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    machine.etc.write("velmora-release", "\none\n\ntwo");
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "    HLX Version",
                            "         one", "         two", "", ""});
    expect_clean_end(terminal);
}

TEST(Version, ALargeReleaseFileStaysInsideTheWindow) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    std::string contents;
    for (int i = 1; i <= 3000; i++) {
        contents += "line " + std::to_string(i) + "\n";
    }
    machine.etc.write("velmora-release", contents + std::string(9000, 'l'));
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(kTop + 13, kIndentedColumn, "line 10 ")) << terminal.text();
    EXPECT_EQ(terminal.cell(kTop + 14, 1).text, kBottomLeft);
    EXPECT_EQ(terminal.row(kTop + 15), "");
    expect_clean_end(terminal);
}

TEST(Version, PercentSignsAndControlCharactersAreOnlyText) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.etc.write("velmora-release", "100%s%n %d\x1b[2J\n");
    machine.replace_program("uname", "printf '%%s%%n\\033[2J'");
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "    HLX Version",
                            "         100%s%n %d?[2J", "", "    Platform", "         %s%n?[2J"});
    expect_clean_end(terminal);
}

TEST(Version, OutputOfTheCommandsDoesNotReachTheTerminal) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const std::string noise = "echo NOISE >&2; echo NOISE >/dev/tty; ";
    machine.replace_program("strings", noise + "exit 1");
    machine.replace_program("grep", noise + "exit 1");
    machine.replace_program("uname", noise + "echo i386");
    const PassCounter passes;
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    ASSERT_TRUE(terminal.wait_for("i386"));
    ASSERT_TRUE(passes.wait_for_whole_pass(terminal));
    expect_clean_end(terminal);
    EXPECT_EQ(terminal.raw_output().find("NOISE"), std::string::npos);
    EXPECT_EQ(terminal.raw_output().find("/dev/tty"), std::string::npos);
}

TEST(Version, ErrorsOfTheShellAboutMissingFoldersDoNotReachTheTerminal) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    std::filesystem::remove_all("/opt/velmora");
    const PassCounter passes;
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    ASSERT_TRUE(passes.wait_for_whole_pass(terminal));
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "", "", ""});
    expect_clean_end(terminal);
    EXPECT_EQ(terminal.raw_output().find("velmora"), std::string::npos);
}

TEST(Version, LinksInPlaceOfItsTemporaryFilesAreNotFollowed) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const std::string victim = machine.programs + "/victim";
    const std::string dangling = machine.programs + "/dangling";
    std::ofstream(victim) << "precious";
    machine.opt.write("velmora/zrpserv/sbin/zrpcon", binary("VeRsIoN = console 5"));
    // The links are there before, and come back while the command runs.
    std::filesystem::create_symlink(victim, kMarkerFile);
    std::filesystem::create_symlink(dangling, kPlatformFile);
    const std::string inTheMiddle = "ln -sf " + victim + " " + kPlatformFile + "; echo i386";
    machine.replace_program("uname", inTheMiddle);
    const PassCounter passes;
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    EXPECT_TRUE(terminal.wait_for("[zrpcon] console 5"));
    ASSERT_TRUE(passes.wait_for_whole_pass(terminal));
    EXPECT_EQ(terminal.screen().find_row("Platform"), -1) << terminal.text();
    EXPECT_EQ(terminal.screen().find_row("precious"), -1) << terminal.text();
    expect_clean_end(terminal);
    std::ifstream file(victim);
    EXPECT_EQ((std::string{std::istreambuf_iterator<char>(file), {}}), "precious");
    EXPECT_FALSE(std::filesystem::exists(dangling));
    EXPECT_FALSE(std::filesystem::exists(kPlatformFile));
}

struct Ending {
    const char* name;
    int signal; // 0: the key F12
};

std::ostream& operator<<(std::ostream& out, const Ending& ending) {
    return out << ending.name;
}

class VersionEnding : public testing::TestWithParam<Ending> {};

// A signal that arrives while a command runs ends the program and the command with it.
TEST_P(VersionEnding, DoesNotWaitForACommandThatTakesLong) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const std::string started = machine.programs + "/started";
    machine.replace_program("strings", "echo $$ > " + started + "; exec sleep 100");
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF7);
    ASSERT_TRUE(terminal.wait_until([&] {
        return std::filesystem::exists(started) && std::filesystem::file_size(started) > 0;
    }));
    if (GetParam().signal == 0) {
        terminal.press(Key::kF12);
    } else {
        terminal.child().send_signal(GetParam().signal);
    }
    expect_ended_cleanly(terminal);
    pid_t pid = 0;
    std::ifstream(started) >> pid;
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(terminal.wait_until([&] { return harness::has_ended(pid); }));
    EXPECT_FALSE(std::filesystem::exists(kMarkerFile));
}

INSTANTIATE_TEST_SUITE_P(Ways, VersionEnding,
                         testing::Values(Ending{"F12", 0}, Ending{"Terminate", SIGTERM},
                                         Ending{"Interrupt", SIGINT}, Ending{"Quit", SIGQUIT},
                                         Ending{"HangUp", SIGHUP}),
                         [](const auto& ending) { return std::string(ending.param.name); });

TEST(Version, ASearchOfTheMonitorsOwnFileFindsOnlyItsVersionLine) {
    std::ifstream file(ZRPTOP_PROGRAM, std::ios::binary);
    const std::string program{std::istreambuf_iterator<char>(file), {}};
    const std::string marker = "VeRsIoN = ";
    const size_t at = program.find(marker);
    ASSERT_NE(at, std::string::npos);
    EXPECT_STREQ(program.c_str() + at + marker.size(), "2026-04-22_10:36:02_i386build22-.2048");
    EXPECT_EQ(program[at - 1], '\0');
    EXPECT_EQ(program.find(marker, at + 1), std::string::npos);
    EXPECT_EQ(program.find("VeRsIoZrP = "), std::string::npos);
}

// Faulty replies: the daemon's file is searched instead.
struct VersionFaultCase {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const VersionFaultCase& fault) {
    return out << fault.name;
}

class VersionFault : public testing::TestWithParam<VersionFaultCase> {};

TEST_P(VersionFault, MakesTheMonitorSearchTheFile) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    machine.opt.write("velmora/zrpserv/sbin/zrp2bks", binary("VeRsIoN = from the file"));
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(GetParam().bytes)}});
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, "         [zrp2bks] from the file",
                            kOwnLine, "", "", ""});
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, VersionFault,
    testing::Values(VersionFaultCase{"WrongMagic", reply_header(4, 0, 0x12345678) + "text"},
                    VersionFaultCase{"ShortHeader", reply_header(4).substr(0, 8)},
                    VersionFaultCase{"NoReply", ""},
                    VersionFaultCase{"EarlyClose", reply_header(5000) + "<zrp2bks_reply>"},
                    VersionFaultCase{"ZeroLength", reply_header(0)},
                    VersionFaultCase{"ErrorStatus", reply("<versionTag>1</versionTag>", 5)},
                    VersionFaultCase{"ErrorElement",
                                     reply("<result value=\"-5\"/><versionTag>1</versionTag>")},
                    VersionFaultCase{"Unclosed", reply("<zrp2bks_reply><versionTag>1")},
                    VersionFaultCase{"TooLong", reply("<versionTag>" + std::string(4096, 'v') +
                                                      "</versionTag>")},
                    VersionFaultCase{"Noise", reply(std::string("\x00\x1b[2J<\xff<<\"", 10))}),
    [](const auto& fault) { return std::string(fault.param.name); });

// The same fault in all three daemons, and no files.
class VersionOfFaultyDaemons : public testing::TestWithParam<const char*> {};

TEST_P(VersionOfFaultyDaemons, OmitsDaemonsWithoutAVersion) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "echo i386");
    const Simulator server({"--fault", GetParam()});
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal, {std::string("    ") + kTitle, kOwnLine, "    Platform", "         i386",
                            "", "", ""});
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, VersionOfFaultyDaemons,
                         testing::Values("refuse", "drip-header", "short-header", "wrong-magic",
                                         "swapped-magic", "status", "early-close", "zero-length",
                                         "long-length", "garbage", "truncated", "error-reply",
                                         "unclosed"),
                         name_of_fault);

TEST(Version, OfDrippingDaemonsIsShownWhenItIsComplete) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const Simulator server({"--fault", "drip"});
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    EXPECT_TRUE(terminal.wait_for("[libomw2zrp] 2026-02-17")) << terminal.text();
    EXPECT_TRUE(terminal.wait_for(kOwnRow)) << terminal.text();
    expect_clean_end(terminal);
}

TEST(Version, ADaemonThatNeverAnswersDoesNotHoldUpTheExit) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    const Simulator server({"--fault", "hang:versionTag"});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF7);
    ASSERT_TRUE(terminal.wait_until([&] { return server.logged("fault=hang") == 1; }));
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(terminal.screen().find_row("[zrptop]"), -1);
    expect_clean_end(terminal);
}

TEST(Version, DropsALineFeed) {
    ZRP_NEEDS_ROOT();
    ZRP_NEEDS_NAMESPACES();
    Machine machine;
    machine.replace_program("uname", "exit 1");
    const ScriptedPeer storage(
        kStorageDaemonSocket,
        {{read_request(), send_bytes(reply("<versionTag>1.2\n</versionTag>"))}});
    Terminal terminal(monitor());
    ASSERT_TRUE(show_versions(terminal)) << terminal.text();
    expect_lines(terminal,
                 {std::string("    ") + kTitle, "         [zrp2bks] 1.2", kOwnLine, "", ""});
    expect_clean_end(terminal);
}

} // namespace
} // namespace zrp::version_test
