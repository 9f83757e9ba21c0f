// The internal counters of the main daemon and of the storage daemon.
#include "common/requests/diagnostics.h"

#include <algorithm>
#include <strings.h>

#include "common/client/session.h"
#include "common/requests/diag_groups.h"
#include "common/requests/storage_daemon.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/command.h"
#include "ctl/fields.h"
#include "ctl/numbers.h"

namespace zrp::ctl {
namespace {

// What differs between the daemons.
struct CounterSource {
    const Daemon* daemon;
    const char* command; // null if the counters are in the envelope itself
    const char* level;
    const char* counter;
    bool isStorage;
};

const CounterSource kServerSource = {&kServer, tag::diagnostics, tag::diagLevel, tag::diagValue,
                                     false};
const CounterSource kStorageSource = {&kStorageCounters, nullptr, diagnostic::level,
                                      diagnostic::zrp2bksValue, true};

bool is_of(const DiagGroup& group, const CounterSource& source) {
    return (group.type >= kFirstBksGroup) == source.isStorage;
}

Outcome list_groups(const CounterSource& source, bool json) {
    Outcome outcome(json);
    outcome.start_list("groups");
    outcome.start_table({{"NUMBER", true}, {"NAME"}});
    for (const DiagGroup& group : diag_groups()) {
        if (is_of(group, source)) {
            outcome.append({{"number", group.type}, {"name", group.title}});
            outcome.add_row({std::to_string(group.type), group.title});
        }
    }
    return outcome;
}

const DiagGroup& find_group(const std::string& wanted, const CounterSource& source) {
    const std::optional<uint64_t> number = read_unsigned(wanted);
    for (const DiagGroup& group : diag_groups()) {
        const bool isMeant = number ? *number == static_cast<uint64_t>(group.type)
                                    : strcasecmp(wanted.c_str(), group.title) == 0;
        if (isMeant && is_of(group, source)) {
            return group;
        }
    }
    throw Failure{Kind::kUsage,
                  "GROUP \"" + wanted + "\" is no group of the " + source.daemon->name + " daemon"};
}

struct Counter {
    std::string name;
    int64_t value;
};

Counter read_counter(Node node, const CounterSource& source) {
    const auto value = read_number(node.attribute(tag::value).value());
    const std::string name = text_of(node);
    if (!value || name.empty()) {
        fail_reply("a counter of the reply is incomplete", *source.daemon);
    }
    return {name, *value};
}

// The counters are in the element of the level, or after it.
std::vector<Counter> read_counters(const Answer& answer, const CounterSource& source) {
    const Node list = source.command == nullptr
                          ? answer.envelope
                          : command_of(answer, *source.daemon, source.command);
    const Node level = find_inside(list, source.level);
    if (!level) {
        fail_reply("the reply has no list of counters", *source.daemon);
    }
    std::vector<Counter> counters;
    for (const Node place : {level, level.parent()}) {
        for (const Node node : place.children(source.counter)) {
            counters.push_back(read_counter(node, source));
        }
    }
    return counters;
}

Request counters_request(const CounterSource& source, const std::string& words, bool resets) {
    const int resetAll = resets ? 1 : 0;
    if (!source.isStorage) {
        return request([&](uint32_t* length) {
            return BuildDiagnosticsRequest(length, kDiagnosticsLevel, resetAll);
        });
    }
    const std::string escaped = client::Escaped(words);
    const Request inner = request([&](uint32_t* length) {
        return BuildZrp2bksParmsRequest(kDiagnosticsLevel, resetAll, escaped.c_str(), length);
    });
    Request wrapped = request([&](uint32_t* length) {
        return WrapDiagnosticRequest(inner.bytes.get(), inner.length, length);
    });
    wrapped.document = inner.document;
    return wrapped;
}

std::vector<std::string> split_words(const std::string& text) {
    constexpr const char* kSeparators = " \t\r\n,;";
    std::vector<std::string> words;
    for (size_t at = text.find_first_not_of(kSeparators); at != std::string::npos;) {
        const size_t end = std::min(text.find_first_of(kSeparators, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(kSeparators, end);
    }
    return words;
}

bool has_word(const std::string& name, const std::vector<std::string>& words) {
    return words.empty() || std::any_of(words.begin(), words.end(), [&](const std::string& word) {
               return name.find(word) != std::string::npos;
           });
}

bool is_in(const DiagGroup& group, const std::string& name) {
    return std::any_of(std::begin(group.rows), std::end(group.rows),
                       [&](const DiagRow& row) { return row.key != nullptr && name == row.key; });
}

Outcome reset_counters(Session& session, const Arguments& arguments, const CounterSource& source) {
    if (arguments.has("GROUP") || arguments.has("--words") || session.options().watch) {
        throw Failure{Kind::kUsage, "--reset resets all counters, once"};
    }
    const Answer answer = change(session, *source.daemon, counters_request(source, "", true), [&] {
        return std::string("Reset all counters of the ") + source.daemon->name + " daemon";
    });
    (void)read_counters(answer, source);
    return confirmed(session, "counters reset");
}

Outcome show_counters(Session& session, const Arguments& arguments, const CounterSource& source) {
    if (arguments.has("--reset")) {
        return reset_counters(session, arguments, source);
    }
    const bool json = session.options().json;
    if (!arguments.has("GROUP") && !arguments.has("--words")) {
        return list_groups(source, json);
    }
    const DiagGroup* group =
        arguments.has("GROUP") ? &find_group(arguments.text("GROUP"), source) : nullptr;
    const std::string text = arguments.has("--words") ? arguments.text("--words") : "";
    const std::vector<std::string> words = split_words(text);
    if (words.size() > kMaxDiagnosticWords) {
        throw Failure{Kind::kUsage,
                      "--words takes up to " + std::to_string(kMaxDiagnosticWords) + " words"};
    }
    const Answer answer = session.ask(*source.daemon, counters_request(source, text, false));
    Outcome outcome(json);
    outcome.start_list("counters");
    outcome.start_table({{"NAME"}, {"VALUE", true}});
    for (const Counter& counter : read_counters(answer, source)) {
        if (has_word(counter.name, words) && (group == nullptr || is_in(*group, counter.name))) {
            outcome.append({{"name", counter.name}, {"value", counter.value}});
            outcome.add_row({counter.name, std::to_string(counter.value)});
        }
    }
    return outcome;
}

Outcome show_server_counters(Session& session, const Arguments& arguments) {
    return show_counters(session, arguments, kServerSource);
}

Outcome show_storage_counters(Session& session, const Arguments& arguments) {
    return show_counters(session, arguments, kStorageSource);
}

constexpr Argument kDiagnosticsArguments[] = {
    {"GROUP", ArgumentKind::kText, Count::kOptional,
     "a group by its number or title; the list of groups without one"},
    {"--words", ArgumentKind::kText, Count::kOptional,
     "only counters with one of these words in their names"},
    {"--reset", ArgumentKind::kFlag, Count::kOptional, "set all counters to 0"},
};

constexpr const char* kDiagnosticsGroup = "Diagnostics";

constexpr Command kDiagnosticsCommands[] = {
    {"diagnostics server", kDiagnosticsGroup, "Show the counters of the main daemon",
     Effect::kReadOnly, kDiagnosticsArguments, "zrpctl diagnostics server 1", show_server_counters},
    {"diagnostics storage", kDiagnosticsGroup, "Show the counters of the storage daemon",
     Effect::kReadOnly, kDiagnosticsArguments, "zrpctl diagnostics storage --words requests",
     show_storage_counters},
};

} // namespace

std::span<const Command> diagnostics_commands() {
    return kDiagnosticsCommands;
}

} // namespace zrp::ctl
