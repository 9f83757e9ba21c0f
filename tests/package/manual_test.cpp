// The manual pages: without a complaint of man and mandoc, complete, and with examples that work.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include "tests/package/installed.h"
#include "tests/support/needs.h"
#include "tests/support/patterns.h"
#include "tests/support/simulated_server.h"
#include "tools/harness/terminal.h"

namespace zrp::manual_test {
namespace {

namespace fs = std::filesystem;
using harness::ExitStatus;

std::string contents(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<fs::path> pages() {
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(kPrefix / "share/man")) {
        if (entry.is_regular_file()) {
            found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

// What a reader sees of a line.
std::string plain(std::string line) {
    static const std::pair<const char*, const char*> kEscapes[] = {
        {"\\-", "-"},   {"\\(aq", "'"}, {"\\(dq", "\""}, {"\\(ti", "~"},
        {"\\(ha", "^"}, {"\\(ga", "`"}, {"\\&", ""},     {"\\e", "\\"}};
    for (const auto& [roff, text] : kEscapes) {
        for (size_t at = 0; (at = line.find(roff, at)) != line.npos; at += strlen(text)) {
            line.replace(at, strlen(roff), text);
        }
    }
    return line;
}

// The blocks of a page that are printed as they are, but for those of its synopsis.
std::vector<std::string> blocks(const fs::path& page) {
    std::vector<std::string> found;
    std::ifstream file(page);
    bool isSynopsis = false;
    bool isBlock = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(".SH")) {
            isSynopsis = line == ".SH SYNOPSIS";
        } else if (line == ".nf" || line == ".EX") {
            isBlock = !isSynopsis;
            found.resize(found.size() + (isBlock ? 1 : 0));
        } else if (line == ".fi" || line == ".EE") {
            isBlock = false;
        } else if (isBlock && !line.starts_with(".\\\"")) {
            found.back() += plain(line) + "\n";
        }
    }
    return found;
}

// The block of a page that begins with a text, its indentation aside.
std::string block(const std::string& page, const std::string& begin) {
    for (const std::string& text : blocks(kPrefix / "share/man" / page)) {
        if (text.find_first_not_of(' ') == text.find(begin)) {
            return text;
        }
    }
    ADD_FAILURE() << page << " has no " << begin;
    return "";
}

// The installed programs before those of the system.
std::string path_variable() {
    return "PATH=" + (kPrefix / "bin").string() + ":" + (kPrefix / "sbin").string() +
           ":/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
}

// In an ordinary shell. Standard errors come after the output.
Outcome run_shell(const std::string& commands) {
    return run({"sh", "-c", commands}, {path_variable()});
}

fs::path written(const std::string& name, const std::string& text) {
    const fs::path path = kInstalled / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
    return path;
}

// A private network has its loopback interface down.
void raise_loopback(const std::string& address) {
    const Outcome outcome =
        run_shell("ip link set lo up && ip address replace " + address + "/32 dev lo");
    EXPECT_EQ(outcome.status, ExitStatus()) << outcome.output;
}

TEST(Manual, ManAndMandocHaveNothingToSay) {
    ASSERT_GE(pages().size(), 15U);
    for (const fs::path& page : pages()) {
        const std::string name = page.string();
        const Outcome man =
            run({"sh", "-c", "man --warnings -E UTF-8 -l -Tutf8 -Z '" + name + "' >/dev/null"},
                {"LC_ALL=C.UTF-8", "MANROFFSEQ=", "MANWIDTH=80"});
        EXPECT_EQ(man.status, ExitStatus()) << name;
        EXPECT_EQ(man.output, "") << name;
        const Outcome mandoc = run({"mandoc", "-T", "lint", "-W", "all", name});
        EXPECT_EQ(mandoc.status, ExitStatus()) << name;
        EXPECT_EQ(mandoc.output, "");
    }
}

TEST(Manual, NamesEveryFunctionThatTheLibraryExports) {
    std::string text;
    for (const fs::path& page : pages()) {
        if (page.extension() == ".3") {
            text += plain(contents(page));
        }
    }
    std::set<std::string> words;
    for (const PatternMatch& word : find_matches(text, R"([A-Za-z_]\w*)")) {
        words.insert(word[0]);
    }
    const Outcome symbols =
        run({"nm", "-C", "--defined-only", "--dynamic", kLibraries / "libzrpclient.so"});
    // A name in namespace zrp, or in a class there, that is not of a sanitizer.
    const auto names = find_matches(symbols.output, R"( [TBDR] zrp::(?:\w+::)?~?([A-Za-z]\w*))");
    for (const PatternMatch& name : names) {
        EXPECT_TRUE(words.contains(name[1])) << name[0];
    }
    EXPECT_GT(names.size(), 200U);
}

TEST(Manual, HasAPageForEachPublicHeader) {
    for (const auto& entry : fs::recursive_directory_iterator(kHeaders)) {
        const std::string header = "<zrp/" + fs::relative(entry.path(), kHeaders).string() + ">";
        if (entry.path().extension() != ".h" || header == "<zrp/cplusplus.h>" ||
            header == "<zrp/client/detail.h>") {
            continue;
        }
        EXPECT_EQ(std::ranges::count_if(pages(),
                                        [&](const fs::path& page) {
                                            return contents(page).find(".SS \"" + header + "\"") !=
                                                   std::string::npos;
                                        }),
                  1)
            << header;
    }
}

// A page that gets another example fails here until a test below runs it.
TEST(Manual, HasNoExampleThatIsNotRun) {
    const std::set<std::string> known = {
        "zrp-exporter.8: ZRP_EXPORTER_OPTIONS=",
        "zrp-exporter.8: [Service]",
        "zrp-exporter.8: server {",
        "zrp-exporter.8: zrp-exporter &",
        "zrpclient.3: find_package(",
        "zrpclient.3: #include", // run by examples_test
        "zrpsim.1: unshare",
        "zrptop.8: storage daemon: no", // rows of the monitor; its tests show them
    };
    for (const fs::path& page : pages()) {
        const std::string name = page.filename();
        if (name.starts_with("zrpclient_") || name == "zrpctl.1") {
            continue; // all of their examples are run
        }
        for (const std::string& text : blocks(page)) {
            const std::string line = name + ": " + text.substr(text.find_first_not_of(' '));
            EXPECT_TRUE(std::ranges::any_of(known, [&](const std::string& begin) {
                return line.starts_with(begin);
            })) << line;
        }
    }
}

// Statements in comments of headers: each is compiled as the body of a function.
TEST(ManualExamples, OfTheHeadersCompile) {
    std::string source = "#include <iostream>\n"
                         "#include <zrp/client.h>\n"
                         "#include <zrp/exchange_limits.h>\n"
                         "#include <zrp/exchange_state.h>\n"
                         "#include <zrp/xml_writer.h>\n"
                         "using namespace zrp;\n"
                         "using namespace std::chrono;\n"
                         "void show(const char*);\n"
                         "int print(void*, const ListedVolume&);\n";
    size_t count = 0;
    for (const fs::path& page : pages()) {
        for (const std::string& text : blocks(page)) {
            // Not indented is a declaration, without a semicolon a text of the protocol.
            if (page.filename().string().starts_with("zrpclient_") && text.starts_with(' ') &&
                text.find(';') != text.npos) {
                source += "char* example" + std::to_string(count++) +
                          "([[maybe_unused]] uint32_t* length, [[maybe_unused]] int rc) {\n" +
                          text + "return nullptr;\n}\n";
            }
        }
    }
    EXPECT_EQ(count, 4U);
    const Outcome outcome = run({ZRP_COMPILER, "-std=c++20", "-fsyntax-only", "-Wall", "-Werror",
                                 "-I", kPrefix / "include", written("fragments.cpp", source)});
    EXPECT_EQ(outcome.status, ExitStatus()) << source << outcome.output;
}

TEST(ManualExamples, TheLinesForCMakeBuildAProgram) {
    written("cmake/CMakeLists.txt",
            "cmake_minimum_required(VERSION 3.25)\nproject(program LANGUAGES CXX)\n"
            "add_executable(program program.cpp)\n" +
                block("man3/zrpclient.3", "find_package"));
    written("cmake/program.cpp", block("man3/zrpclient.3", "#include"));
    const fs::path folder = kInstalled / "cmake";
    for (const std::vector<std::string>& step :
         {std::vector<std::string>{"cmake", "-G", "Ninja", "-S", folder, "-B", folder / "build",
                                   "-DCMAKE_PREFIX_PATH=" + kPrefix.string(),
                                   "-DCMAKE_CXX_COMPILER=" ZRP_COMPILER,
                                   "-DCMAKE_CXX_FLAGS=" ZRP_FLAGS},
          std::vector<std::string>{"cmake", "--build", folder / "build"}}) {
        const Outcome outcome = run(step);
        ASSERT_EQ(outcome.status, ExitStatus()) << outcome.output;
    }
    const SimulatedServer server({"--volumes", "3"});
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(run({folder / "build/program"}).output, "0 SYS\n1 DATA\n2 HOME\n");
}

TEST(ManualExamples, TheExporterShowsItsMetrics) {
    ZRP_NEEDS_NAMESPACES();
    raise_loopback("127.0.0.1");
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const Outcome outcome = run_shell(block("man8/zrp-exporter.8", "zrp-exporter &"));
    EXPECT_NE(outcome.output.find("\nzrp_up{daemon=\"storage\"} 1"), std::string::npos)
        << outcome.output;
}

// As systemd does it: the file is an environment, and the variable is split at blanks.
TEST(ManualExamples, TheExporterTakesItsOptions) {
    ZRP_NEEDS_NAMESPACES();
    const std::string options = block("man8/zrp-exporter.8", "ZRP_EXPORTER_OPTIONS=");
    const auto found = find_matches(options, R"(=(.* ((\d+\.){3}\d+):\d+.*)\n)");
    ASSERT_EQ(found.size(), 1U);
    raise_loopback(found[0][2]);
    harness::ChildOptions child;
    child.arguments = {"sh", "-c", "exec zrp-exporter " + found[0][1]};
    child.environment = {path_variable()};
    child.standardErrors = harness::kPipe;
    harness::ChildProcess exporter(child);
    std::string line;
    for (char byte = 0; read(exporter.errors().get(), &byte, 1) == 1 && byte != '\n';) {
        line += byte;
    }
    EXPECT_EQ(line, "zrp-exporter: listening on 10.1.2.3:9848");
    exporter.send_signal(SIGTERM);
    EXPECT_EQ(exporter.wait(), ExitStatus());
}

// Each setting but the user overrides one of the unit.
TEST(ManualExamples, TheServiceHasTheSettingsThatADropInChanges) {
    const std::string unit = contents(kPrefix / "share/zrp-exporter/systemd/zrp-exporter.service");
    std::istringstream lines(block("man8/zrp-exporter.8", "[Service]"));
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    for (size_t count = 0; std::getline(lines, line); count++) {
        const std::string setting = line.substr(line.find_first_not_of(' '));
        const std::string key = setting.substr(0, setting.find('=') + 1);
        EXPECT_TRUE(key == "User=" || unit.find("\n" + key) != std::string::npos) << key;
        EXPECT_EQ(unit.find("\n" + setting + "\n"), std::string::npos) << setting;
    }
}

TEST(ManualExamples, TheMonitorIsTriedOnAServerThatIsMute) {
    ZRP_NEEDS_NAMESPACES();
    harness::TerminalOptions options{.rows = 40, .columns = 100};
    options.child.arguments = {"sh", "-c", block("man1/zrpsim.1", "unshare")};
    options.child.environment = {path_variable()};
    harness::Terminal terminal(options);
    ASSERT_TRUE(terminal.wait_for("packetsAccepted")) << terminal.text();
    terminal.press(harness::Key::kF12);
    EXPECT_TRUE(terminal.wait_for_exit()) << terminal.text();
}

// The proxy with the files of the example put into a folder.
TEST(ManualExamples, AProxyAddsTlsAndAPassword) {
    ZRP_NEEDS_NAMESPACES();
    const fs::path nginx = fs::path(ZRP_SOURCES) / "build/nginx/usr/sbin/nginx";
    if (!fs::exists(nginx)) {
        GTEST_SKIP() << "needs nginx in build/nginx, where scripts/test puts it";
    }
    raise_loopback("127.0.0.1");
    const fs::path folder = kInstalled / "proxy";
    fs::create_directories(folder / "logs");
    std::string server = block("man8/zrp-exporter.8", "server {");
    const std::pair<const char*, const char*> files[] = {
        {"/etc/ssl/certs/files.example.pem", "certificate"},
        {"/etc/ssl/private/files.example.key", "key"},
        {"/etc/nginx/metrics.passwords", "passwords"}};
    for (const auto& [file, name] : files) {
        ASSERT_NE(server.find(file), server.npos);
        server.replace(server.find(file), strlen(file), folder / name);
    }
    written("proxy/passwords", "prometheus:{PLAIN}secret\n");
    std::string http = "access_log off; ";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        http += std::string(kind) + "_temp_path " + folder.string() + "; ";
    }
    written("proxy/nginx.conf", "user root; pid " + (folder / "pid").string() +
                                    "; events {} http { " + http + server + "}\n");
    // It goes into the background when it listens.
    const Outcome outcome = run_shell(
        "cd '" + folder.string() +
        "' && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=files "
        "-keyout key -out certificate 2>/dev/null\n" +
        nginx.string() + " -p . -e log -c nginx.conf || exit\n" +
        "zrp-exporter 2>/dev/null &\n"
        "ask() { curl -sk --retry 3 -o answer -w '%{http_code}\\n' \"$@\" "
        "https://127.0.0.1:9849/metrics; }\n"
        "ask; ask -u prometheus:wrong; ask -u prometheus:secret; grep -c '^zrp_up' answer\n"
        "kill $! $(cat pid); wait");
    EXPECT_EQ(outcome.output, "401\n401\n200\n3\n");
}

// On a server of its own, at a terminal at which somebody answers the question with yes.
void expect_success(const std::string& line) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    harness::TerminalOptions options{.rows = 40, .columns = 100};
    // A shadow can be forgotten after it was removed.
    const bool forgets = line.find("shadow forget") != std::string::npos;
    options.child.arguments = {"sh", "-c",
                               (forgets ? "zrpctl shadow create DATA /srv/data-shadow --yes && "
                                          "zrpctl shadow remove DATA --yes && "
                                        : "") +
                                   line};
    options.child.environment = {path_variable()};
    harness::Terminal terminal(options);
    const auto asks = [&] { return terminal.text().find("[y/N]") != std::string::npos; };
    EXPECT_TRUE(terminal.wait_until([&] { return !terminal.is_open() || asks(); }));
    if (asks()) {
        terminal.type("yes\n");
    }
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus()) << line << '\n' << terminal.text();
}

TEST(ManualExamples, OfTheCommandWork) {
    const fs::path path = kPrefix / "share/man/man1/zrpctl.1";
    std::vector<std::string> lines = blocks(path);
    std::erase_if(lines, [](const std::string& text) { return text.starts_with('{'); }); // answers
    std::ifstream page(path);
    bool isExample = false;
    for (std::string line; std::getline(page, line); isExample = line == ".IP") {
        if (isExample && line.starts_with(".B ")) {
            lines.push_back(plain(line.substr(3)));
        }
    }
    EXPECT_GT(lines.size(), 40U);
    // A line of a crontab is its command; the folder is the test's.
    for (const std::string& line : lines) {
        const std::string command = replace_matches(line, R"(^(\S+ ){5}root )", "");
        expect_success(
            replace_matches(command, "/var/lib/prometheus/node-exporter", kInstalled.string()));
    }
    EXPECT_TRUE(contents(kInstalled / "zrp.prom").find("zrp_up") != std::string::npos);
}

} // namespace
} // namespace zrp::manual_test
