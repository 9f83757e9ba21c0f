// How the server is.
#include <cstdio>

#include "common/requests/component_versions.h"
#include "common/requests/server_statistics.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/help.h"
#include "ctl/json.h"
#include "ctl/named_values.h"
#include "ctl/probe.h"
#include "ctl/suggestion.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr const char* kAboutServer = "Server";

struct StatusRow {
    const char* name; // of the statistic
    Field::Kind kind;
    const char* label;
};

constexpr StatusRow kStatusRows[] = {
    {tag::serverUpTime, Field::kSeconds, "up time"},
    {tag::logAllowed, Field::kBoolean, "logins allowed"},
    {tag::connectionSlotsInUse, Field::kNumber, "connection slots in use"},
    {tag::peakConnectionSlots, Field::kNumber, "peak of connection slots"},
    {tag::maximumConnectionSlots, Field::kNumber, "maximum of connection slots"},
    {tag::numberOfOpenFiles, Field::kNumber, "open files"},
};

// The figures of a reply, or why there are none.
void add_figures(Probe& server, Json& status, Outcome& outcome) {
    if (!server.answer) {
        return;
    }
    try {
        const Node list = command_of(*server.answer, kServer, tag::serverStatistics);
        const std::vector<NamedValue> values = read_named_values(list, kServer);
        for (const StatusRow& row : kStatusRows) {
            const NamedValue* value = find_value(values, row.name);
            if (value != nullptr && value->text && is_value(row.kind, *value->text)) {
                add_json(status, row.name, row.kind, *value->text);
                outcome.add_row({row.label, cell_of(row.kind, *value->text)});
            }
        }
    } catch (const Failure& failure) {
        server.answer.reset();
        server.failure = failure;
    }
}

std::string milliseconds_text(std::chrono::microseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f ms", static_cast<double>(time.count()) / 1000.0);
    return text;
}

Json daemon_json(const Probe& probe) {
    Json daemon = {{"name", probe.daemon->name}, {"answers", probe.answer.has_value()}};
    if (probe.failure) {
        daemon["error"] = json_error(*probe.failure);
        return daemon;
    }
    daemon["milliseconds"] = static_cast<double>(probe.answer->took.count()) / 1000.0;
    daemon["processId"] = probe.answer->process;
    daemon["userId"] = probe.answer->user;
    return daemon;
}

Row daemon_row(const Probe& probe) {
    if (!probe.answer) {
        return {probe.daemon->name, "no", "", "", ""};
    }
    const Answer& answer = *probe.answer;
    return {probe.daemon->name, "yes", milliseconds_text(answer.took),
            std::to_string(answer.process), std::to_string(answer.user)};
}

// Any user can listen on the names of the daemons.
void warn_of_user(const Probe& probe, Outcome& outcome) {
    if (probe.answer && probe.answer->user != 0) {
        outcome.warnings.push_back(std::string("warning: the ") + probe.daemon->name +
                                   " daemon runs as user " + std::to_string(probe.answer->user) +
                                   ", not as root");
    }
}

Outcome show_status(Session& session, const Arguments&) {
    const Request figures = request([](uint32_t* length) {
        return BuildServerStatisticsRequest(kServerStatisticsVersion, length);
    });
    Probes probes = ask_all(session, figures);
    Outcome outcome(session.options().json);
    Json status = Json::object();
    start_properties(outcome);
    add_figures(probes.front(), status, outcome);
    outcome.start_table(
        {{"DAEMON"}, {"ANSWERS"}, {"TIME", true}, {"PROCESS", true}, {"USER", true}});
    for (const Probe& probe : probes) {
        status["daemons"].push_back(daemon_json(probe));
        outcome.add_row(daemon_row(probe));
        warn_of_user(probe, outcome);
    }
    outcome.set("status", status);
    add_failures(probes, outcome);
    return outcome;
}

// The version of a component, or why there is none.
void add_version(Probe& probe, Outcome& outcome) {
    if (!probe.answer) {
        return;
    }
    const std::optional<std::string> version = text_inside(probe.answer->envelope, tag::versionTag);
    if (!version) {
        probe.answer.reset();
        probe.failure = Failure{Kind::kReply, "the reply holds no version", probe.daemon->name};
        return;
    }
    outcome.append({{"name", probe.daemon->name}, {tag::versionTag, *version}});
    outcome.add_row({probe.daemon->name, *version});
}

Outcome show_versions(Session& session, const Arguments&) {
    Probes probes = ask_all(session, request(BuildServerVersionRequest));
    Outcome outcome(session.options().json);
    outcome.start_list("versions");
    outcome.start_table({{"NAME"}, {"VERSION"}});
    for (Probe& probe : probes) {
        add_version(probe, outcome);
    }
    add_failures(probes, outcome);
    return outcome;
}

Outcome show_help(Session& session, const Arguments& arguments) {
    std::string name;
    for (const std::string& word : arguments.list("COMMAND")) {
        name += (name.empty() ? "" : " ") + word;
    }
    const Command* command = find_command(name);
    if (!name.empty() && command == nullptr) {
        throw Failure{Kind::kUsage, unknown_command(name)};
    }
    const std::string text = name.empty() ? general_help() : command_help(*command);
    Outcome outcome(session.options().json);
    outcome.set("help", text);
    outcome.add_text(text);
    return outcome;
}

constexpr Argument kHelpArguments[] = {
    {"COMMAND", ArgumentKind::kText, Count::kAny, "the command, which may have two words"},
};

constexpr Command kStatusCommands[] = {
    {"help", "Help", "Explain a command", Effect::kReadOnly, kHelpArguments, "zrpctl help volumes",
     show_help},
    {"status",
     kAboutServer,
     "Show how the server and its daemons are",
     Effect::kReadOnly,
     {},
     "zrpctl status",
     show_status},
    {"versions",
     kAboutServer,
     "Show the versions of the three daemons",
     Effect::kReadOnly,
     {},
     "zrpctl versions",
     show_versions},
};

} // namespace

std::span<const Command> status_commands() {
    return kStatusCommands;
}

} // namespace zrp::ctl
