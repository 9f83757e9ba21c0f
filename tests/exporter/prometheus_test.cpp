// The metrics, rules, alerts and the dashboard on a real Prometheus.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/exporter/exporter_process.h"
#include "tests/support/needs.h"
#include "tests/support/simulated_server.h"

namespace zrp {
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
    const std::regex pattern(key + ": ([A-Za-z0-9_:]+)");
    std::vector<std::string> names;
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at) {
        names.push_back((*at)[1]);
    }
    return names;
}

// The expressions of the dashboard, with its variables replaced as for "All".
std::vector<std::string> dashboard_expressions() {
    const std::string text = source_file("contrib/grafana/zrp.json");
    const std::regex pattern("\"expr\": \"((?:[^\"\\\\]|\\\\.)*)\"");
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at) {
        std::string expression = std::regex_replace((*at)[1].str(), std::regex("\\\\\""), "\"");
        found.push_back(std::regex_replace(expression, std::regex("\\$(instance|volume)"), ".*"));
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
    const std::string documents = source_file("docs/metrics.md");
    const std::string cases = source_file("contrib/prometheus/alerts_test.yml");
    const std::string text = source_file("contrib/prometheus/alerts.yml");
    for (const std::string& alert : alerts) {
        EXPECT_NE(documents.find("### " + alert + "\n"), std::string::npos) << alert;
        EXPECT_NE(cases.find("alertname: " + alert + "\n        exp_alerts: []"), std::string::npos)
            << alert << " has no quiet case";
        EXPECT_NE(cases.find("alertname: " + alert + "\n        exp_alerts:\n"), std::string::npos)
            << alert << " has no firing case";
        const size_t start = text.find("alert: " + alert);
        const std::string rule = text.substr(start, text.find("- alert:", start) - start);
        for (const char* part : {"severity: ", "summary: ", "runbook_url: docs/metrics.md#zrp"}) {
            EXPECT_NE(rule.find(part), std::string::npos) << alert;
        }
    }
}

// Three servers, three exporters, one Prometheus.
class Fleet {
public:
    Fleet()
        : child_({.arguments = {"unshare", "--net", "--mount", "--pid", "--fork", "--kill-child",
                                "--mount-proc", ZRP_SOURCES "/tools/fleet/fleet.sh", ZRP_BUILD,
                                engine_folder(), ZRP_SOURCES "/contrib/prometheus", "--quick"},
                  .standardInput = harness::kPipe,
                  .standardOutput = harness::kPipe}) {
        started = Answer();
    }

    // The lines of an answer.
    std::string Ask(const std::string& line) {
        const std::string text = line + "\n";
        EXPECT_EQ(write(child_.input().get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
        return Answer();
    }

    // Asks until the answer is not empty, or the deadline has passed.
    std::string AskUntil(const std::string& line, const std::string& part) {
        const harness::Deadline deadline(harness::kPatience);
        std::string answer;
        do {
            answer = Ask(line);
        } while (answer.find(part) == std::string::npos && !deadline.passed());
        return answer;
    }

    ExitStatus End() {
        const std::string text = "\n";
        EXPECT_EQ(write(child_.input().get(), text.data(), text.size()), 1);
        return child_.wait().value_or(ExitStatus{-1, 0});
    }

    std::string started;

private:
    std::string Answer() {
        std::string text;
        for (auto line = child_.read_line(); line && *line != "."; line = child_.read_line()) {
            text += *line + "\n";
        }
        return text;
    }

    ChildProcess child_;
};

// Alert, server and volume of each alert that fires.
std::set<std::string> firing(const std::string& answer) {
    const std::regex pattern("alertname=\"([A-Za-z]+)\".*instance=\"10\\.77\\.([0-9])\\.2:9848\"(.*"
                             "volume=\"([^\"]+)\")?");
    std::set<std::string> alerts;
    for (std::sregex_iterator at(answer.begin(), answer.end(), pattern), end; at != end; ++at) {
        alerts.insert((*at)[1].str() + " " + (*at)[2].str() +
                      ((*at)[4].length() == 0 ? "" : " " + (*at)[4].str()));
    }
    return alerts;
}

TEST(Fleet, FiresTheAlertsThatItMustAndNoOther) {
    ZRP_NEEDS_PROMETHEUS();
    ZRP_NEEDS_NAMESPACES();
    Fleet fleet;
    ASSERT_NE(fleet.started.find("10.77.3.2:9848"), std::string::npos) << fleet.started;
    for (const std::string& name : names_in("contrib/prometheus/rules.yml", "record")) {
        EXPECT_NE(fleet.AskUntil("query " + name, "=>").find("=>"), std::string::npos) << name;
    }
    const std::vector<std::string> expressions = dashboard_expressions();
    EXPECT_GE(expressions.size(), 12U);
    for (const std::string& expression : expressions) {
        EXPECT_NE(fleet.AskUntil("query " + expression, "=>").find("=>"), std::string::npos)
            << expression;
    }
    const std::string kAlerts = "query ALERTS{alertstate=\"firing\"}";
    EXPECT_EQ(firing(fleet.Ask(kAlerts)), std::set<std::string>());
    for (const char* line :
         {"server 1 quit", "server 2 fault hang", "server 3 fill DATA 97", "server 3 login off"}) {
        EXPECT_EQ(fleet.Ask(line), "");
    }
    const std::set<std::string> wanted = {
        "ZrpServerDown 1",
        "ZrpServerDown 2",
        "ZrpLoginsDisabled 3",
        "ZrpVolumeAlmostFull 3 DATA",
        "ZrpVolumeFullWithinDay 3 DATA",
    };
    std::set<std::string> fired;
    for (const harness::Deadline deadline(harness::kPatience);
         fired != wanted && !deadline.passed();) {
        fired = firing(fleet.Ask(kAlerts));
    }
    EXPECT_EQ(fired, wanted);
    const std::string table = fleet.Ask("table");
    EXPECT_NE(table.find("ZrpLoginsDisabled ZrpVolumeAlmostFull ZrpVolumeFullWithinDay"),
              std::string::npos)
        << table;
    EXPECT_EQ(fleet.End(), (ExitStatus{0, 0}));
}

} // namespace
} // namespace zrp
