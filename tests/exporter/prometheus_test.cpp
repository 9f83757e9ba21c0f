// The metrics, rules, alerts and the dashboard on a real Prometheus.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/exporter/exporter_process.h"
#include "tests/exporter/new_folder.h"
#include "tests/support/needs.h"
#include "tests/support/patterns.h"
#include "tests/support/simulated_server.h"

namespace zrp::prometheus_test {
namespace {

using namespace std::chrono_literals;
using harness::ChildProcess;
using harness::ExitStatus;

// The folder of prometheus and promtool: unpacked by scripts/test, or installed.
std::string engine_folder() {
    for (const char* folder : {ZRP_SOURCES "/build/prometheus/usr/bin", "/usr/bin"}) {
        if (access((std::string(folder) + "/promtool").c_str(), X_OK) == 0) {
            return folder;
        }
    }
    return "";
}

#define ZRP_NEEDS_PROMETHEUS()                                                                     \
    if (engine_folder().empty()) {                                                                 \
        GTEST_SKIP() << "needs prometheus and promtool, which scripts/test unpacks";               \
    }

struct Output {
    ExitStatus status;
    std::string text; // of both streams
};

Output run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh"});
    ChildProcess child({.arguments = std::move(arguments),
                        .standardInput = harness::kNull,
                        .standardOutput = harness::kPipe});
    std::string text = child.read_all();
    return {child.wait().value_or(ExitStatus{-1, 0}), text};
}

std::string source_file(const std::string& path) {
    std::ifstream file(ZRP_SOURCES "/" + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What follows a key of the rules, one expression in a line.
std::vector<std::string> names_in(const std::string& path, const std::string& key) {
    const std::string text = source_file(path);
    std::vector<std::string> names;
    for (const PatternMatch& match : find_matches(text, key + ": ([A-Za-z0-9_:]+)")) {
        names.push_back(match[1]);
    }
    return names;
}

// The expressions of the dashboard, with its variables replaced as for "All".
std::vector<std::string> dashboard_expressions() {
    const std::string text = source_file("contrib/grafana/zrp.json");
    std::vector<std::string> found;
    for (const PatternMatch& match : find_matches(text, R"x("expr": "((?:[^"\\]|\\.)*)")x")) {
        const std::string expression = replace_matches(match[1], R"(\\")", "\"");
        found.push_back(replace_matches(expression, R"(\$(instance|volume))", ".*"));
    }
    return found;
}

TEST(Promtool, HasNothingToSayOfRulesAndAlerts) {
    ZRP_NEEDS_PROMETHEUS();
    const std::string tool = engine_folder() + "/promtool";
    const std::string folder = ZRP_SOURCES "/contrib/prometheus/";
    const Output rules = run({tool, "check", "rules", folder + "rules.yml", folder + "alerts.yml"});
    EXPECT_EQ(rules.status, (ExitStatus{0, 0})) << rules.text;
    const Output cases = run({tool, "test", "rules", folder + "alerts_test.yml"});
    EXPECT_EQ(cases.status, (ExitStatus{0, 0})) << cases.text;
    const Output job = run({tool, "check", "config", "--syntax-only", folder + "scrape.yml"});
    EXPECT_EQ(job.status, (ExitStatus{0, 0})) << job.text;
}

TEST(Promtool, HasNothingToSayOfTheMetrics) {
    ZRP_NEEDS_PROMETHEUS();
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--per-connection=10"});
    const std::string file = std::filesystem::temp_directory_path() / "zrp_metrics_of_test";
    std::ofstream(file) << get_page(exporter.port(), "/metrics").body;
    const Output lint =
        run({"/bin/sh", "-c", engine_folder() + "/promtool check metrics <" + file});
    std::filesystem::remove(file);
    EXPECT_EQ(lint.status, (ExitStatus{0, 0}));
    EXPECT_EQ(lint.text, "");
}

TEST(Alerts, HaveATestASeverityASummaryAndAParagraph) {
    const std::vector<std::string> alerts = names_in("contrib/prometheus/alerts.yml", "alert");
    EXPECT_EQ(alerts.size(), 8U);
    const std::string page = source_file("docs/zrp-exporter.8");
    const std::string cases = source_file("contrib/prometheus/alerts_test.yml");
    const std::string text = source_file("contrib/prometheus/alerts.yml");
    for (const std::string& alert : alerts) {
        EXPECT_NE(page.find(".TP\n.B " + alert + "\n"), std::string::npos) << alert;
        EXPECT_NE(cases.find("alertname: " + alert + "\n        exp_alerts: []"), std::string::npos)
            << alert << " has no quiet case";
        EXPECT_NE(cases.find("alertname: " + alert + "\n        exp_alerts:\n"), std::string::npos)
            << alert << " has no firing case";
        const size_t start = text.find("alert: " + alert);
        const std::string rule = text.substr(start, text.find("- alert:", start) - start);
        for (const std::string& part : {std::string("severity: "), std::string("summary: "),
                                        "runbook_url: man:zrp-exporter(8)#" + alert + "\n"}) {
            EXPECT_NE(rule.find(part), std::string::npos) << alert << " has no " << part;
        }
    }
}

// For several scrapes, on a machine with much else to do.
constexpr harness::milliseconds kFleetPatience = 4 * harness::kPatience;

// Asking takes more time of the processor than the fleet itself does.
constexpr harness::milliseconds kBetweenQuestions{1000};

// Simulated servers, each with its exporter, and one Prometheus.
class Fleet {
public:
    // The prefix runs the script.
    explicit Fleet(std::vector<std::string> prefix = {}) : child_(OptionsFor(std::move(prefix))) {
        started_ = Answer();
        const std::string exporters = started_.substr(0, started_.find("Prometheus"));
        for (const PatternMatch& match : find_matches(exporters, "([0-9.]+:[0-9]+),? ")) {
            addresses_.push_back(match[1]);
        }
    }

    [[nodiscard]] size_t servers() const {
        return addresses_.size();
    }
    [[nodiscard]] const std::string& started() const {
        return started_;
    }

    // The lines of an answer.
    std::string Ask(const std::string& line) {
        const std::string text = line + "\n";
        EXPECT_EQ(write(child_.input().get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
        return Answer();
    }

    // Waits until the expression has a result.
    testing::AssertionResult Gives(const std::string& expression) {
        const harness::Deadline deadline(kFleetPatience);
        while (Ask("query " + expression).find("=>") == std::string::npos) {
            if (deadline.passed()) {
                return testing::AssertionFailure() << "no result: " << expression;
            }
            std::this_thread::sleep_for(kBetweenQuestions);
        }
        return testing::AssertionSuccess();
    }

    // Name, server and volume of each alert that fires or is about to.
    std::set<std::string> Alerts() {
        const char* pattern = R"x(alertname="([A-Za-z]+)".*alertstate="([a-z]+)".*)x"
                              R"x(instance="([0-9.:]+)"(.*volume="([^"]+)")?)x";
        std::set<std::string> alerts;
        for (const PatternMatch& match : find_matches(Ask("query ALERTS"), pattern)) {
            const auto server = std::find(addresses_.begin(), addresses_.end(), match[3]);
            alerts.insert(match[1] + " " + std::to_string(server - addresses_.begin() + 1) +
                          (match[5].empty() ? "" : " " + match[5]) +
                          (match[2] == "firing" ? "" : " " + match[2]));
        }
        return alerts;
    }

    // Waits until these alerts are there, and then for two more scrapes, after which there
    // must be no other.
    void ExpectAlerts(const std::set<std::string>& wanted) {
        const harness::Deadline deadline(kFleetPatience);
        while (Alerts() != wanted && !deadline.passed()) {
            std::this_thread::sleep_for(kBetweenQuestions);
        }
        const std::string count = "count_over_time(up{instance=\"" + addresses_.back() + "\"}[1h])";
        const std::string answer = Ask("query " + count);
        const size_t arrow = answer.find("=> ");
        ASSERT_NE(arrow, std::string::npos) << answer;
        const int scrapes = std::stoi(answer.substr(arrow + 3));
        EXPECT_TRUE(Gives(count + " >= " + std::to_string(scrapes + 2)));
        EXPECT_EQ(Alerts(), wanted);
    }

    // By Enter, or by a signal.
    ExitStatus End(int signal = 0) {
        const std::string text = "\n";
        if (signal != 0) {
            child_.send_signal(signal);
        } else {
            EXPECT_EQ(write(child_.input().get(), text.data(), text.size()), 1);
        }
        return child_.wait().value_or(ExitStatus{-1, 0});
    }

    // Those of its processes that run, known by the folder in their environment.
    [[nodiscard]] size_t CountProcesses() const {
        size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::ifstream file(entry.path() / "environ");
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            count += text.find("TMPDIR=" + folder_.path()) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    [[nodiscard]] bool HasFiles() const {
        return !std::filesystem::is_empty(folder_.path());
    }

private:
    [[nodiscard]] harness::ChildOptions OptionsFor(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(),
                         {ZRP_SOURCES "/tools/fleet/fleet.sh", ZRP_BUILD, engine_folder(),
                          ZRP_SOURCES "/contrib/prometheus", "--quick"});
        return {.arguments = std::move(arguments),
                .environment = {"TMPDIR=" + folder_.path()},
                .standardInput = harness::kPipe,
                .standardOutput = harness::kPipe};
    }

    std::string Answer() {
        std::string text;
        for (auto line = child_.read_line(); line && *line != "."; line = child_.read_line()) {
            text += *line + "\n";
        }
        return text;
    }

    NewFolder folder_;
    ChildProcess child_;
    std::string started_;
    std::vector<std::string> addresses_;
};

void expect_results_of_rules_and_dashboard(Fleet& fleet) {
    for (const std::string& name : names_in("contrib/prometheus/rules.yml", "record")) {
        EXPECT_TRUE(fleet.Gives(name));
    }
    const std::vector<std::string> expressions = dashboard_expressions();
    EXPECT_GE(expressions.size(), 12U);
    for (const std::string& expression : expressions) {
        EXPECT_TRUE(fleet.Gives(expression));
    }
}

// Other than promtool's cases, which hold them to their times, the fleet has alerts that fire at
// once.
void expect_alerts_as_shipped_but_for_their_times(Fleet& fleet) {
    const std::string shipped = source_file("contrib/prometheus/alerts.yml");
    EXPECT_EQ(fleet.Ask("alerts"),
              replace_matches(shipped, "        for: [0-9]+m\n", "        for: 0s\n"));
}

TEST(Fleet, OfThreeFiresTheAlertsThatItMustAndNoOther) {
    ZRP_NEEDS_PROMETHEUS();
    ZRP_NEEDS_NAMESPACES();
    Fleet fleet;
    ASSERT_EQ(fleet.servers(), 3U) << fleet.started();
    fleet.ExpectAlerts({});
    for (const char* line : {"server 1 fault hang:zrp2bks", "server 2 connect 45",
                             "server 3 connect 60 admin.acme", "server 3 clock 100"}) {
        EXPECT_EQ(fleet.Ask(line), "") << line;
    }
    fleet.ExpectAlerts({"ZrpExporterDropsSeries 3", "ZrpNotLoggedInPilingUp 2",
                        "ZrpServerRestarted 3", "ZrpStorageDaemonDown 1"});
    for (const char* line :
         {"server 1 quit", "server 2 fault hang", "server 3 fill DATA 97", "server 3 login off"}) {
        EXPECT_EQ(fleet.Ask(line), "") << line;
    }
    fleet.ExpectAlerts({"ZrpExporterDropsSeries 3", "ZrpLoginsDisabled 3", "ZrpServerDown 1",
                        "ZrpServerDown 2", "ZrpServerRestarted 3", "ZrpVolumeAlmostFull 3 DATA",
                        "ZrpVolumeFullWithinDay 3 DATA"});
    const std::string table = fleet.Ask("table");
    EXPECT_NE(table.find("ZrpExporterDropsSeries ZrpLoginsDisabled ZrpServerRestarted "
                         "ZrpVolumeAlmostFull ZrpVolumeFullWithinDay\n"),
              std::string::npos)
        << table;
    EXPECT_EQ(fleet.End(), (ExitStatus{0, 0}));
    EXPECT_EQ(fleet.CountProcesses(), 0U);
}

TEST(Fleet, OfOneRunsWithoutNamespaces) {
    ZRP_NEEDS_PROMETHEUS();
    raise_loopback();
    Fleet fleet({WITHOUT_NAMESPACES_PROGRAM});
    ASSERT_EQ(fleet.servers(), 1U) << fleet.started();
    expect_alerts_as_shipped_but_for_their_times(fleet);
    expect_results_of_rules_and_dashboard(fleet);
    fleet.ExpectAlerts({});
    for (const char* line : {"server 1 connect 100", "server 1 fill DATA 97", "server 1 login off",
                             "server 1 clock 100", "server 1 fault hang:zrp2bks"}) {
        EXPECT_EQ(fleet.Ask(line), "") << line;
    }
    fleet.ExpectAlerts({"ZrpExporterDropsSeries 1", "ZrpLoginsDisabled 1",
                        "ZrpNotLoggedInPilingUp 1", "ZrpServerRestarted 1",
                        "ZrpStorageDaemonDown 1", "ZrpVolumeAlmostFull 1 DATA",
                        "ZrpVolumeFullWithinDay 1 DATA"});
    EXPECT_EQ(fleet.Ask("server 1 quit"), "");
    fleet.ExpectAlerts({"ZrpServerDown 1", "ZrpServerRestarted 1"});
    EXPECT_TRUE(fleet.Gives("ALERTS{alertname=\"ZrpServerDown\",daemon=\"server\"}"));
    EXPECT_EQ(fleet.Ask("stop 1"), "");
    EXPECT_TRUE(
        fleet.Gives("ALERTS{alertname=\"ZrpServerDown\",daemon=\"\",alertstate=\"firing\"}"));
    EXPECT_TRUE(fleet.HasFiles());
    EXPECT_EQ(fleet.End(SIGINT), (ExitStatus{130, 0}));
    EXPECT_FALSE(fleet.HasFiles());
    EXPECT_EQ(fleet.CountProcesses(), 0U);
}

TEST(Fleet, OfThreeEndsWholeOnASignal) {
    ZRP_NEEDS_PROMETHEUS();
    ZRP_NEEDS_NAMESPACES();
    Fleet fleet;
    EXPECT_GE(fleet.CountProcesses(), 8U);
    EXPECT_EQ(fleet.End(SIGTERM), (ExitStatus{143, 0}));
    EXPECT_EQ(fleet.CountProcesses(), 0U);
}

} // namespace
} // namespace zrp::prometheus_test
