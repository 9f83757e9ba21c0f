#include "exporter/metric_table.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <string>
#include <string_view>

#include "common/requests/diag_groups.h"
#include "exporter/label_text.h"
#include "exporter/version.h"

namespace zrp::exporter {
namespace {

using prometheus::MetricType;

// Returns false for a text that is not a number from its first character to its last. "inf" and
// "nan" are none.
bool read_number(std::string_view text, double* number) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    const bool isWhole = error == std::errc() && stop == text.data() + text.size();
    return isWhole && (text.back() == '.' || (text.back() >= '0' && text.back() <= '9'));
}

const client::Statistic* find_statistic(const Facts& facts, std::string_view name) {
    if (!facts.statistics) {
        return nullptr;
    }
    const auto found = std::find_if(facts.statistics->begin(), facts.statistics->end(),
                                    [&](const client::Statistic& one) { return one.name == name; });
    return found == facts.statistics->end() ? nullptr : &*found;
}

bool statistic_value(const Facts& facts, std::string_view name, double* number) {
    const client::Statistic* found = find_statistic(facts, name);
    return found != nullptr && read_number(found->value, number);
}

void fill_statistic(const Metric& metric, const Findings& findings, Samples& samples) {
    double number = 0;
    if (statistic_value(findings.facts, metric.element, &number)) {
        samples.Add({}, number);
    }
}

void fill_statistics(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    for (const client::Statistic& one :
         findings.facts.statistics.value_or(std::vector<client::Statistic>())) {
        double number = 0;
        if (read_number(one.value, &number)) {
            samples.Add({LabelText(one.name)}, number);
        }
    }
}

void fill_up(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    for (size_t i = 0; i < kDaemons; i++) {
        samples.Add({kDaemonNames[i]}, findings.facts.up[i] ? 1 : 0);
    }
}

void fill_info(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    const auto& versions = findings.facts.versions;
    if (versions[kServer]) {
        samples.Add({LabelText(*versions[kServer]), LabelText(versions[kStorage].value_or("")),
                     LabelText(versions[kManagement].value_or(""))},
                    1);
    }
}

// What a server says of its connection slots, in the record for them or else in its statistics.
template <uint32_t ServerConnInfo::*Member>
void fill_slots(const Metric& metric, const Findings& findings, Samples& samples) {
    if (findings.facts.slots) {
        samples.Add({}, *findings.facts.slots.*Member);
    } else {
        fill_statistic(metric, findings, samples);
    }
}

void fill_available_slots(const Metric& metric, const Findings& findings, Samples& samples) {
    double most = 0;
    double used = 0;
    if (findings.facts.slots) {
        samples.Add({}, findings.facts.slots->connectionSlotsAvailable);
    } else if (statistic_value(findings.facts, metric.element, &most) &&
               statistic_value(findings.facts, "connectionSlotsInUse", &used)) {
        samples.Add({}, std::max(0.0, most - used));
    }
}

void fill_connections(const Metric& metric, const Findings& findings, Samples& samples) {
    double used = 0;
    double without = 0;
    if (findings.facts.slots) {
        used = findings.facts.slots->connectionSlotsInUse;
        without = findings.facts.slots->notLoggedInCount;
    } else if (!statistic_value(findings.facts, "connectionSlotsInUse", &used) ||
               !statistic_value(findings.facts, metric.element, &without)) {
        return;
    }
    samples.Add({"logged_in"}, std::max(0.0, used - without));
    samples.Add({"not_logged_in"}, without);
}

template <typename Add>
void for_each_volume(const Findings& findings, Add add) {
    if (findings.facts.volumes) {
        for (const VolumeFacts& volume : *findings.facts.volumes) {
            add(volume);
        }
    }
}

void fill_mounted(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    for_each_volume(findings, [&](const VolumeFacts& volume) {
        samples.Add({LabelText(volume.listed.name)}, (volume.listed.status & kVolumeMounted) != 0);
    });
}

void fill_volume_info(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    if (!findings.facts.volumesAnswered) {
        return;
    }
    for_each_volume(findings, [&](const VolumeFacts& volume) {
        const uint32_t status = volume.details ? volume.details->status : volume.listed.status;
        samples.Add({LabelText(volume.listed.name), std::to_string(volume.listed.number),
                     LabelText(volume.details ? volume.details->mountPoint : ""),
                     LabelText(client::StatusWords(status))},
                    1);
    });
}

template <typename Value>
void fill_from_information(const Findings& findings, Samples& samples, Value value) {
    if (!findings.facts.volumesAnswered) {
        return;
    }
    for_each_volume(findings, [&](const VolumeFacts& volume) {
        if (volume.details) {
            samples.Add({LabelText(volume.listed.name)},
                        static_cast<double>(value(*volume.details)));
        }
    });
}

template <uint64_t client::VolumeDetails::*Member>
void fill_volume(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    fill_from_information(findings, samples,
                          [](const client::VolumeDetails& volume) { return volume.*Member; });
}

template <uint64_t client::VolumeDetails::Cache::*Member>
void fill_cache(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    fill_from_information(findings, samples,
                          [](const client::VolumeDetails& volume) { return volume.cache.*Member; });
}

void fill_purgeable(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    fill_from_information(findings, samples, [](const client::VolumeDetails& volume) {
        return volume.clusterSize * volume.purgeableBlocks;
    });
}

// From a counter's name to the title of the group that the Diagnostics screen shows it in.
using Titles = std::map<std::string_view, const char*>;

Titles titles_of(int32_t first, int32_t last) {
    Titles titles;
    for (int32_t type = first; type <= last; type++) {
        if (const DiagGroup* group = find_diag_group(type); group != nullptr) {
            for (const DiagRow* row = group->rows; row->label != nullptr; row++) {
                titles.emplace(row->key, group->title);
            }
        }
    }
    return titles;
}

const Titles& titles_of(DaemonIndex daemon) {
    static const Titles server = titles_of(1, kFirstBksGroup - 1);
    static const Titles storage = titles_of(kFirstBksGroup, 2 * kFirstBksGroup);
    return daemon == kServer ? server : storage;
}

void fill_diagnostics(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    for (const DaemonIndex daemon : {kServer, kStorage}) {
        const auto& counters = findings.facts.counters[daemon];
        if (!counters) {
            continue;
        }
        for (const client::Counter& counter : *counters) {
            const std::string name = client::Unescaped(counter.name);
            const auto title = titles_of(daemon).find(name);
            samples.Add({kDaemonNames[daemon],
                         title == titles_of(daemon).end() ? "other" : title->second,
                         LabelText(counter.name)},
                        counter.value);
        }
    }
}

void fill_thread_figure(const Metric& metric, const Findings& findings, Samples& samples) {
    if (!findings.facts.threads) {
        return;
    }
    for (const ThreadFigure& figure : *findings.facts.threads) {
        if (std::string_view(figure.element) == metric.element) {
            samples.Add({}, figure.value);
        }
    }
}

template <auto Member>
void fill_connection(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    if (findings.facts.connections) {
        for (const client::Connection& connection : *findings.facts.connections) {
            samples.Add({std::to_string(connection.station), LabelText(connection.name)},
                        static_cast<double>(connection.*Member));
        }
    }
}

void fill_times(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    for (size_t i = 0; i < kQuestions; i++) {
        const auto question = static_cast<Question>(i);
        samples.Add({NameOf(question)}, findings.journal.Times(question));
    }
}

void fill_failures(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    for (size_t i = 0; i < kQuestions; i++) {
        for (size_t j = 0; j < kReasons; j++) {
            const auto question = static_cast<Question>(i);
            const auto reason = static_cast<Reason>(j);
            samples.Add({NameOf(question), NameOf(reason)},
                        static_cast<double>(findings.journal.Failures(question, reason)));
        }
    }
}

void fill_scrape_seconds(const Metric& /*metric*/, const Findings& findings, Samples& samples) {
    samples.Add({}, findings.took.count());
}

void fill_build_info(const Metric& /*metric*/, const Findings& /*findings*/, Samples& samples) {
    samples.Add({kVersion}, 1);
}

// Filled by the collector, which alone knows the number.
void fill_nothing(const Metric& /*metric*/, const Findings& /*findings*/, Samples& /*samples*/) {}

constexpr auto kGauge = MetricType::Gauge;
constexpr auto kCounter = MetricType::Counter;

using client::Connection;
using Volume = client::VolumeDetails;

// Texts of our own only may be HELP: the library writes it as it is.
constexpr Metric kMetrics[] = {
#include "exporter/metrics.inc"
};

constexpr const char* kSources[] = {
    "the exporter",
    "the exporter, over all its exchanges",
    "server statistics",
    "connection information, else statistics",
    "versions of the three daemons",
    "list of volumes",
    "information on each mounted volume",
    "diagnostics of both daemons",
    "threads",
    "list of connections, with `--per-connection`",
    "the exporter",
};

} // namespace

const char* NameOf(Source source) {
    return kSources[static_cast<size_t>(source)];
}

std::span<const Metric> Metrics() {
    return kMetrics;
}

std::string MetricsDocument() {
    const std::map<MetricType, const char*> types = {{MetricType::Gauge, "gauge"},
                                                     {MetricType::Counter, "counter"},
                                                     {MetricType::Histogram, "histogram"}};
    std::string text =
        "| Metric | Type | Labels | Unit | From | Meaning |\n|---|---|---|---|---|---|\n";
    for (const Metric& metric : kMetrics) {
        std::string labels;
        for (const char* at = metric.labels; *at != '\0'; at++) {
            labels += *at == ' ' ? std::string("`, `") : std::string(1, *at);
        }
        text += std::string("| `") + metric.name + "` | " + types.at(metric.type) + " | " +
                (labels.empty() ? "" : "`" + labels + "`") + " | " + metric.unit + " | " +
                NameOf(metric.source) +
                (metric.element == nullptr ? "" : std::string(": `") + metric.element + "`") +
                " | " + metric.help + " |\n";
    }
    return text;
}

} // namespace zrp::exporter
