// The example programs, built with the installed library and run on the simulated server.
#include <fstream>
#include <sstream>
#include <string_view>

#include "tests/package/installed.h"
#include "tests/support/needs.h"
#include "tests/support/patterns.h"
#include "tests/support/simulated_server.h"

namespace zrp::examples_test {
namespace {

namespace fs = std::filesystem;
using harness::ExitStatus;

constexpr ExitStatus kSuccess{0, 0};
constexpr ExitStatus kFailure{1, 0};
constexpr ExitStatus kUsage{2, 0};

constexpr const char* kThreeVolumes =
    "        SIZE        FREE  VOLUME\n"
    "   260.71 GB   249.63 GB  SYS (online mounted salvageable)\n"
    "   276.53 GB   266.68 GB  DATA (online mounted BKS salvageable)\n"
    "   232.52 GB   222.70 GB  HOME (online mounted \"read only\" BKS salvageable)\n";

// The server of the list above. Its figures do not change.
const std::vector<std::string> kThreeVolumeServer = {"--volumes", "3", "--clock", "3600"};

// The path of an example; the folders are named after the library that the examples are linked
// with.
std::string example(const std::string& name, const std::string& library = "zrpclient") {
    return kInstalled / library / name;
}

bool needs_shared_library(const std::string& program) {
    const std::string dynamic = run({"readelf", "--dynamic", program}).output;
    EXPECT_NE(dynamic.find("(NEEDED)"), std::string::npos) << dynamic;
    return dynamic.find("[libzrpclient.so.") != std::string::npos;
}

void append_words(std::vector<std::string>& words, const std::string& text) {
    std::istringstream stream(text);
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
}

// Compiles one file with the flags from pkg-config for the installed library, and runs it.
Outcome build_and_run(const fs::path& source) {
    const std::string program = kInstalled / source.stem();
    const Outcome flags = run({"pkg-config", "--cflags", "--libs", "zrpclient"},
                              {"PKG_CONFIG_PATH=" + (kLibraries / "pkgconfig").string()});
    EXPECT_EQ(flags.status, kSuccess) << flags.output;
    std::vector<std::string> compile = {ZRP_COMPILER, "-std=c++20", "-o", program, source};
    append_words(compile, flags.output);
    append_words(compile, ZRP_FLAGS);
    const Outcome built = run(compile);
    EXPECT_EQ(built.status, kSuccess) << built.output;
    return run({program}, {"LD_LIBRARY_PATH=" + kLibraries.string()});
}

// Returns the lines of a document between the first line that begins with one mark and the next
// line that begins with the other.
std::string excerpt(const fs::path& path, std::string_view from, std::string_view to) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line) && !line.starts_with(from)) {
    }
    std::string text;
    while (std::getline(file, line) && !line.starts_with(to)) {
        text += line + "\n";
    }
    EXPECT_NE(text, "") << path;
    return text;
}

fs::path written(const std::string& name, const std::string& text) {
    const fs::path path = kInstalled / name;
    std::ofstream(path) << text;
    return path;
}

TEST(Examples, ListVolumesWithSizeAndState) {
    const SimulatedServer server(kThreeVolumeServer);
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("list_volumes")});
    EXPECT_EQ(outcome.status, kSuccess);
    EXPECT_EQ(outcome.output, kThreeVolumes);
}

TEST(Examples, ReportThatNoDaemonAnswers) {
    ZRP_NEEDS_NAMESPACES();
    const Outcome outcome = run({example("list_volumes")});
    EXPECT_EQ(outcome.status, kFailure);
    EXPECT_EQ(outcome.output, "list_volumes: connection refused, code 111\n");
}

TEST(Examples, DistinguishABrokenReplyFromAnEmptyList) {
    {
        const SimulatedServer server({"--volumes", "0"});
        ASSERT_TRUE(server.ready());
        const Outcome outcome = run({example("list_volumes")});
        EXPECT_EQ(outcome.status, kSuccess);
        EXPECT_EQ(outcome.output, "        SIZE        FREE  VOLUME\n");
    }
    const SimulatedServer server(
        {"--fault", "truncated:listVolumes", "--fault", "truncated:diagnostics"});
    ASSERT_TRUE(server.ready());
    const std::string malformed = "argument or reply not understood, code 22\n";
    const struct {
        std::vector<std::string> command;
        std::string output;
    } cases[] = {
        {{example("list_volumes")}, "list_volumes: " + malformed},
        {{example("free_space")}, malformed},
        {{example("watch_counter"), "ipcListener requests"}, "watch_counter: " + malformed},
    };
    for (const auto& [command, output] : cases) {
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.status, kFailure);
        EXPECT_EQ(outcome.output, output);
    }
    const Outcome outcome = run({example("try_volume"), "NEW", "/srv/new"});
    EXPECT_EQ(outcome.status, kFailure);
    EXPECT_EQ(outcome.output, "created\nremoved\nnot listed: " + malformed);
}

TEST(Examples, NameTheVolumeWithoutInformation) {
    const SimulatedServer server({"--volumes", "1", "--fault", "error-reply:volumeInformation"});
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("list_volumes")});
    EXPECT_EQ(outcome.status, kFailure);
    EXPECT_EQ(outcome.output, "        SIZE        FREE  VOLUME\n"
                              "list_volumes: SYS: 5 simulated failure\n");
}

TEST(Examples, PrintTheFreeSpace) {
    const SimulatedServer server(kThreeVolumeServer);
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("free_space")});
    EXPECT_EQ(outcome.status, kSuccess);
    EXPECT_EQ(outcome.output, "SYS: 249.63 GB of 260.71 GB free\n"
                              "DATA: 266.68 GB of 276.53 GB free\n"
                              "HOME: 222.70 GB of 232.52 GB free\n");
}

TEST(Examples, PrintTheirUsage) {
    const struct {
        std::string name;
        std::string arguments;
        std::vector<std::vector<std::string>> wrong;
    } examples[] = {
        {"list_volumes", "", {{"x"}, {""}}},
        {"free_space", "", {{"x"}, {""}}},
        {"try_volume",
         " NAME DIRECTORY",
         {{}, {"NEW"}, {"NEW", ""}, {"", "/srv/new"}, {"NEW", "/srv/new", "x"}}},
        {"watch_counter",
         " NAME [SECONDS [COUNT]]",
         {{},
          {""},
          {"a", "soon"},
          {"a", ""},
          {"a", "-1"},
          {"a", "99999999999"},
          {"a", "1", "2x"},
          {"a", "1", "0"},
          {"a", "1", "2", "3"}}},
    };
    for (const auto& [name, arguments, wrong] : examples) {
        for (const std::vector<std::string>& words : wrong) {
            std::vector<std::string> command = {example(name)};
            command.insert(command.end(), words.begin(), words.end());
            const Outcome outcome = run(command);
            EXPECT_EQ(outcome.status, kUsage);
            EXPECT_EQ(outcome.output, "usage: " + name + arguments + "\n");
        }
    }
}

TEST(Examples, LinkWithEitherLibrary) {
    EXPECT_TRUE(needs_shared_library(example("list_volumes", "zrpclient")));
    EXPECT_FALSE(needs_shared_library(example("list_volumes", "zrpclient_static")));
    const SimulatedServer server(kThreeVolumeServer);
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(run({example("list_volumes", "zrpclient_static")}).output, kThreeVolumes);
}

TEST(Examples, BuildWithTheFlagsOfPkgConfig) {
    const SimulatedServer server(kThreeVolumeServer);
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(build_and_run(kInstalled / "examples/list_volumes.cpp").output, kThreeVolumes);
}

TEST(Examples, TheOneInTheManPageListsVolumes) {
    const fs::path page = kPrefix / "share/man/man3/zrpclient.3";
    std::string example = excerpt(page, ".\\\" Example", ".\\\" End");
    example = replace_matches(example, R"(\\e)", "\\");
    const SimulatedServer server(kThreeVolumeServer);
    ASSERT_TRUE(server.ready());
    const Outcome outcome = build_and_run(written("man_page.cpp", example));
    EXPECT_EQ(outcome.status, kSuccess);
    EXPECT_EQ(outcome.output, "0 SYS\n1 DATA\n2 HOME\n");
}

TEST(Examples, TheOneInTheReadmeIsFreeSpace) {
    const std::string example = excerpt(fs::path(ZRP_SOURCES) / "README.md", "```cpp", "```");
    // After the head comment the program begins with an empty line.
    EXPECT_EQ(example, excerpt(fs::path(ZRP_SOURCES) / "examples/free_space.cpp", "//", "\f"));
}

TEST(Examples, WatchOneCounter) {
    const SimulatedServer server({"--clock", "3600"});
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("watch_counter"), "ipcListener requests", "0", "3"});
    EXPECT_EQ(outcome.status, kSuccess);
    EXPECT_EQ(outcome.output, "21871 (+0)\n21871 (+0)\n21871 (+0)\n");
}

TEST(Examples, SeeACounterMove) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("watch_counter"), "ipcListener requests", "2", "2"});
    EXPECT_TRUE(matches(outcome.output, R"(\d+ \(\+0\)\n\d+ \(\+[1-9]\d*\)\n)")) << outcome.output;
}

TEST(Examples, ReportAnUnknownCounter) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("watch_counter"), "ipcListener"});
    EXPECT_EQ(outcome.status, kFailure);
    EXPECT_EQ(outcome.output, "watch_counter: no such counter: ipcListener\n");
}

TEST(Examples, CreateListAndRemoveAVolume) {
    const SimulatedServer server(kThreeVolumeServer);
    ASSERT_TRUE(server.ready());
    // Twice, because the first run must leave nothing behind.
    for (int i = 0; i < 2; i++) {
        const Outcome outcome = run({example("try_volume"), "NEW", "/srv/new"});
        EXPECT_EQ(outcome.status, kSuccess);
        EXPECT_EQ(outcome.output, "created\nlisted\nremoved\n");
    }
    EXPECT_EQ(run({example("list_volumes")}).output, kThreeVolumes);
}

TEST(Examples, ReportWhyAVolumeIsRefused) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run({example("try_volume"), "SYS", "/srv/new"});
    EXPECT_EQ(outcome.status, kFailure);
    EXPECT_EQ(outcome.output, "not created: 17 volume exists: SYS\n");
    EXPECT_EQ(run({example("try_volume"), "SIXTEEN_LETTERS_", "/srv/new"}).output,
              "not created: volume name too long, code -702\n");
}

} // namespace
} // namespace zrp::examples_test
