// The samples of one metric, and how many more series there may be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <prometheus/metric_family.h>
#include <string>
#include <unordered_set>
#include <vector>

namespace zrp::exporter {

// How many series a collection may have; those that are dropped are counted.
struct SeriesBudget {
    size_t left;
    uint64_t dropped = 0;
};

class Samples {
public:
    // labels are the names, with blanks between them.
    Samples(const char* name, prometheus::MetricType type, const char* labels, const char* help,
            SeriesBudget& budget);

    // A series with a value for each label, in their order; an empty one is left out. Of two with
    // the same values the first stays.
    void Add(std::initializer_list<std::string> values, double number);

    // The same for a histogram, which has a series for each bucket.
    void Add(std::initializer_list<std::string> values, prometheus::ClientMetric histogram);

    prometheus::MetricFamily Take() {
        return std::move(family_);
    }

private:
    bool Label(std::initializer_list<std::string> values, size_t series,
               prometheus::ClientMetric& metric);

    prometheus::MetricFamily family_;
    std::vector<std::string> labels_;
    std::unordered_set<std::string> seen_;
    SeriesBudget& budget_;
};

} // namespace zrp::exporter
