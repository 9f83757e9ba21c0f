#include "exporter/collector.h"

#include <chrono>
#include <prometheus/text_serializer.h>
#include <utility>

#include "exporter/metric_table.h"

namespace zrp::exporter {
namespace {

bool is_own(const Metric& metric) {
    return metric.source == Source::kExporter || metric.source == Source::kExchanges;
}

} // namespace

Collector::Collector(const Limits& limits, LogLine log) : limits_(limits), log_(std::move(log)) {
    wasUp_.fill(true);
}

void Collector::LogChanges(const Facts& facts) {
    for (size_t i = 0; i < kDaemons; i++) {
        if (facts.up[i] != wasUp_[i]) {
            log_(std::string(kDaemonNames[i]) +
                 (facts.up[i] ? ": answers again" : ": does not answer"));
        }
    }
    wasUp_ = facts.up;
}

std::vector<prometheus::MetricFamily> Collector::Fill(const Facts& facts,
                                                      std::chrono::duration<double> took) {
    const std::span<const Metric> metrics = Metrics();
    const Findings findings = {facts, journal_, took};
    std::vector<prometheus::MetricFamily> families(metrics.size());
    SeriesBudget budget = {kMostSeries - 1}; // one for the number of those that are dropped
    const auto fill = [&](bool own) {
        for (size_t i = 0; i < metrics.size(); i++) {
            if (is_own(metrics[i]) == own) {
                Samples samples(metrics[i].name, metrics[i].type, metrics[i].labels,
                                metrics[i].help, budget);
                metrics[i].fill(metrics[i], findings, samples);
                families[i] = samples.Take();
            }
        }
    };
    fill(true);
    fill(false);
    prometheus::ClientMetric dropped;
    dropped.gauge.value =
        static_cast<double>(budget.dropped + facts.connectionsPassedOver * kSeriesOfAConnection);
    families.back().metric.push_back(std::move(dropped));
    std::erase_if(families, [](const auto& family) { return family.metric.empty(); });
    return families;
}

std::string Collector::Collect() {
    const auto start = std::chrono::steady_clock::now();
    const Facts facts = Inquire(limits_, journal_);
    LogChanges(facts);
    return prometheus::TextSerializer().Serialize(
        Fill(facts, std::chrono::steady_clock::now() - start));
}

} // namespace zrp::exporter
