// The figures of the main daemon.
#include <algorithm>
#include <cmath>
#include <map>

#include "common/requests/server_statistics.h"
#include "common/result.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/named_values.h"
#include "ctl/numbers.h"

namespace zrp::ctl {
namespace {

// The figures of the round before, for rates.
struct LastRound {
    Clock::time_point time;
    std::map<std::string, double> values;
};

LastRound lastRound;

std::optional<double> number_in(const NamedValue& value) {
    const bool isFigure = value.kind == Field::kNumber || value.kind == Field::kFraction ||
                          value.kind == Field::kSeconds;
    return isFigure && value.text ? read_fraction(*value.text) : std::nullopt;
}

// Differences a second; none for a counter that went backwards, or that is new.
std::optional<double> rate_of(const NamedValue& value, Clock::time_point now) {
    const std::optional<double> number = number_in(value);
    const auto before = lastRound.values.find(value.name);
    const double seconds = std::chrono::duration<double>(now - lastRound.time).count();
    if (!number || before == lastRound.values.end() || *number < before->second || seconds <= 0) {
        return std::nullopt;
    }
    constexpr double kHundredths = 100;
    return std::round((*number - before->second) / seconds * kHundredths) / kHundredths;
}

void keep_round(const std::vector<NamedValue>& values, Clock::time_point now) {
    lastRound = {now, {}};
    for (const NamedValue& value : values) {
        if (const std::optional<double> number = number_in(value)) {
            lastRound.values[value.name] = *number;
        }
    }
}

std::string rate_text(double rate) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", rate);
    return text;
}

void add_value(const NamedValue& value, bool withRate, Clock::time_point now, Outcome& outcome) {
    Json item = named_json(value);
    Row row = named_row(value);
    if (withRate) {
        const std::optional<double> rate = rate_of(value, now);
        row.push_back(rate ? rate_text(*rate) : "");
        if (rate) {
            item["rate"] = *rate;
        }
    }
    outcome.append(item);
    outcome.add_row(std::move(row));
}

// The chosen values in the order of the names; the first unknown name becomes the failure.
std::vector<NamedValue> choose(const std::vector<NamedValue>& values,
                               const std::vector<std::string>& names, Outcome& outcome) {
    std::vector<NamedValue> chosen;
    for (const std::string& name : names) {
        const NamedValue* value = find_value(values, name);
        if (value != nullptr) {
            chosen.push_back(*value);
        } else if (!outcome.failure) {
            outcome.failure =
                Failure{Kind::kRefused, "no such statistic: " + name, kServer.name, kNotFound};
        }
    }
    if (chosen.empty() && outcome.failure) {
        throw Failure(*outcome.failure);
    }
    return names.empty() ? values : chosen;
}

Outcome show_statistics(Session& session, const Arguments& arguments) {
    const bool withRate = arguments.has("--rate");
    if (withRate && !session.options().watch) {
        throw Failure{Kind::kUsage, "--rate needs --watch"};
    }
    const Answer answer =
        session.ask(kServer, request([](uint32_t* length) {
                        return BuildServerStatisticsRequest(kServerStatisticsVersion, length);
                    }));
    const Clock::time_point now = Clock::now();
    const std::vector<NamedValue> values =
        read_named_values(command_of(answer, kServer, tag::serverStatistics), kServer);
    Outcome outcome(session.options().json);
    outcome.start_list("statistics");
    std::vector<Column> columns = {{"NAME"}, {"VALUE", true}};
    if (withRate) {
        columns.push_back({"RATE", true});
    }
    outcome.start_table(columns);
    for (const NamedValue& value : choose(values, arguments.list("NAME"), outcome)) {
        add_value(value, withRate, now, outcome);
    }
    keep_round(values, now);
    return outcome;
}

constexpr Argument kStatisticsArguments[] = {
    {"NAME", ArgumentKind::kText, Count::kAny, "a statistic; all without a name"},
    {"--rate", ArgumentKind::kFlag, Count::kOptional, "with --watch: differences a second"},
};

constexpr Command kStatisticsCommands[] = {
    {"statistics", "Server", "Show the statistics of the server", Effect::kReadOnly,
     kStatisticsArguments, "zrpctl statistics bytesRead bytesWritten", show_statistics},
};

} // namespace

std::span<const Command> statistics_commands() {
    return kStatisticsCommands;
}

} // namespace zrp::ctl
