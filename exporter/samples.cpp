#include "exporter/samples.h"

#include <sstream>
#include <utility>

namespace zrp::exporter {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricType;

// No label holds it: it is no byte of UTF-8.
constexpr char kBetweenValues = '\xFF';

std::vector<std::string> words_of(const char* text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(std::move(word));
    }
    return words;
}

} // namespace

Samples::Samples(const char* name, MetricType type, const char* labels, const char* help,
                 SeriesBudget& budget)
    : family_{name, help, type, {}}, labels_(words_of(labels)), budget_(budget) {}

bool Samples::Label(std::initializer_list<std::string> values, size_t series,
                    ClientMetric& metric) {
    std::string key;
    for (const std::string& value : values) {
        key += value;
        key += kBetweenValues;
    }
    if (budget_.left < series || !seen_.insert(std::move(key)).second) {
        budget_.dropped += series;
        return false;
    }
    budget_.left -= series;
    size_t i = 0;
    for (const std::string& value : values) {
        if (!value.empty()) {
            metric.label.push_back({labels_.at(i), value});
        }
        i++;
    }
    return true;
}

void Samples::Add(std::initializer_list<std::string> values, double number) {
    ClientMetric metric;
    if (!Label(values, 1, metric)) {
        return;
    }
    if (family_.type == MetricType::Counter) {
        metric.counter.value = number;
    } else {
        metric.gauge.value = number;
    }
    family_.metric.push_back(std::move(metric));
}

void Samples::Add(std::initializer_list<std::string> values, ClientMetric histogram) {
    constexpr size_t kSumAndCount = 2;
    if (Label(values, histogram.histogram.bucket.size() + kSumAndCount, histogram)) {
        family_.metric.push_back(std::move(histogram));
    }
}

} // namespace zrp::exporter
