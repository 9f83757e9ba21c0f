// From the replies of the three daemons to the text that Prometheus reads.
//
//     const client::Session session;
//     Collector collector({.timeout = std::chrono::seconds(5)}, log_line);
//     const std::string text = collector.Collect();
#pragma once

#include <array>
#include <functional>
#include <prometheus/metric_family.h>
#include <string>
#include <vector>

#include "exporter/inquiry.h"
#include "exporter/journal.h"

namespace zrp::exporter {

// A collection never has more series. Those of the exporter itself come first, then those of the
// server in the order of the table, so that connections are the first to be dropped.
inline constexpr size_t kMostSeries = 20000;

// Takes a line for the log, without its end.
using LogLine = std::function<void(const std::string& line)>;

// Its counters and histograms live as long as it does. One thread at a time may use it.
class Collector {
public:
    Collector(const Limits& limits, LogLine log);

    // Asks the daemons, which takes up to the time limit, and gives the metrics in the text format.
    // A daemon that does not answer is no failure: it shows as zrp_up 0, and is logged when that
    // changes. Throws std::bad_alloc, and std::system_error when the system gives no thread.
    std::string Collect();

private:
    void LogChanges(const Facts& facts);
    std::vector<prometheus::MetricFamily> Fill(const Facts& facts,
                                               std::chrono::duration<double> took);

    Limits limits_;
    LogLine log_;
    Journal journal_;
    std::array<bool, kDaemons> wasUp_;
};

} // namespace zrp::exporter
