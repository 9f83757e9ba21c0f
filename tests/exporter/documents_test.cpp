// What the documents and the files for operators say of the metrics.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

#include <gtest/gtest.h>

#include "exporter/metric_table.h"
#include "tests/exporter/exporter_process.h"

namespace zrp::exporter::documents_test {
namespace {

std::string source_file(const std::string& path) {
    std::ifstream file(ZRP_SOURCES "/" + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// docs/metrics.md is written anew with ZRP_WRITE_DOCUMENTS in the environment.
TEST(Documents, HoldTheTableOfTheCollector) {
    constexpr std::string_view kBegin = "<!-- table -->\n";
    constexpr std::string_view kEnd = "<!-- end of table -->\n";
    const std::string text = source_file("docs/metrics.md");
    const size_t begin = text.find(kBegin);
    const size_t end = text.find(kEnd);
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    const std::string wanted =
        text.substr(0, begin + kBegin.size()) + MetricsDocument() + text.substr(end);
    if (std::getenv("ZRP_WRITE_DOCUMENTS") != nullptr) {
        std::ofstream(ZRP_SOURCES "/docs/metrics.md") << wanted;
    }
    EXPECT_EQ(source_file("docs/metrics.md"), wanted);
}

TEST(Metrics, HaveNamesOfTheirOwnAndAHelp) {
    std::set<std::string> names;
    for (const Metric& metric : Metrics()) {
        EXPECT_TRUE(names.insert(metric.name).second) << metric.name;
        const std::string help = metric.help;
        EXPECT_TRUE(help.ends_with('.')) << metric.name;
        EXPECT_EQ(help.find_first_of("\n\\"), std::string::npos) << metric.name;
        EXPECT_EQ(metric.type == prometheus::MetricType::Counter,
                  std::string(metric.name).ends_with("_total"))
            << metric.name;
    }
    EXPECT_EQ(Metrics().back().source, Source::kDropped);
}

TEST(Unit, IsHardened) {
    if (std::system("systemd-analyze --version >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "needs systemd-analyze";
    }
    const std::string unit = ZRP_SOURCES "/contrib/systemd/zrp-exporter.service";
    EXPECT_EQ(std::system(("systemd-analyze security --offline=yes --threshold=20 " + unit +
                           " >/dev/null 2>&1")
                              .c_str()),
              0);
    EXPECT_EQ(source_file("contrib/systemd/zrp-exporter.service").find("PrivateNetwork=yes"),
              std::string::npos);
}

} // namespace
} // namespace zrp::exporter::documents_test
