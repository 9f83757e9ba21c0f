// The metrics: one row for each family. The collector fills them in this order; the table in the
// documents is made from it.
#pragma once

#include <chrono>
#include <prometheus/metric_type.h>
#include <span>
#include <string>

#include "exporter/facts.h"
#include "exporter/journal.h"
#include "exporter/samples.h"

namespace zrp::exporter {

// Where the values of a metric come from.
enum class Source : uint8_t {
    kExporter,
    kExchanges,
    kStatistics,
    kSlots,
    kVersions,
    kVolumes,
    kVolumeInformation,
    kDiagnostics,
    kThreads,
    kConnections,
    kDropped, // known when all the others are filled
};

// For the documents.
const char* NameOf(Source source);

// What the rows are filled from.
struct Findings {
    const Facts& facts;
    const Journal& journal;
    std::chrono::duration<double> took;
};

struct Metric {
    const char* name;
    prometheus::MetricType type;
    Source source;
    const char* labels;  // their names, with blanks between them
    const char* unit;    // empty for a number of things
    const char* element; // the name in the daemon's reply, or null
    const char* help;
    void (*fill)(const Metric& metric, const Findings& findings, Samples& samples);
};

// The last one is of Source::kDropped.
std::span<const Metric> Metrics();

// The table of the documents: a row in Markdown for each metric.
std::string MetricsDocument();

inline constexpr uint64_t kSeriesOfAConnection = 3;

} // namespace zrp::exporter
