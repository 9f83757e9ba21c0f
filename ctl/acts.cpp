#include "ctl/acts.h"

#include <algorithm>

#include "common/client/session.h"
#include "common/xml_writer.h"
#include "ctl/attributes.h"
#include "ctl/failure.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

// Without brackets and marks: ": NAME 12", or nothing.
std::string named_text(std::span<const Field> fields, const Item& item) {
    std::string text;
    for (size_t i = 0; i < fields.size(); i++) {
        text += item[i] ? ' ' + cell_of(fields[i].kind, *item[i]) : "";
    }
    return text.empty() ? "" : ':' + text;
}

Outcome read_confirmation(const Act& act, const Session& session, const Answer& answer) {
    Node command = command_of(answer, act.daemon, act.tag);
    if (act.group != nullptr) {
        command = command.child(act.group);
    }
    if (!command) {
        fail_reply("the reply is none to this request", act.daemon);
    }
    const Item item = read_item(act.named, command, act.daemon);
    Outcome outcome = confirmed(session, act.done + named_text(act.named, item));
    const Json named = item_json(act.named, item);
    for (const auto& [key, value] : named.items()) {
        outcome.set(key, value);
    }
    return outcome;
}

} // namespace

std::string sendable(const char* name, const std::string& typed) {
    std::string text = client::Escaped(typed);
    if (!IsSendable(text.c_str())) {
        throw Failure{Kind::kUsage, std::string(name) + " holds what no request may hold"};
    }
    return text;
}

std::optional<std::string> optional_sendable(const Arguments& arguments, const char* name) {
    return arguments.has(name) ? std::optional(sendable(arguments, name)) : std::nullopt;
}

uint32_t attributes_of(const Arguments& arguments, const char* name) {
    uint32_t bits = 0;
    for (const std::string& word : arguments.list(name)) {
        bits |= find_attribute(word);
    }
    return bits;
}

void need_one_of(const Arguments& arguments, std::span<const char* const> names) {
    const auto given = std::count_if(names.begin(), names.end(),
                                     [&](const char* name) { return arguments.has(name); });
    if (given != 1) {
        throw Failure{Kind::kUsage, "exactly one of these is needed: " + joined(names)};
    }
}

void check_needs(const Arguments& arguments, const char* option, const char* needed) {
    if (arguments.has(option) && !arguments.has(needed)) {
        throw Failure{Kind::kUsage, std::string(option) + " needs " + needed};
    }
}

Answer change(Session& session, const Daemon& daemon, const Request& request,
              const Question& question) {
    confirm(session, question);
    return session.change(daemon, request);
}

std::optional<Answer> change_if_needed(Session& session, const Daemon& daemon,
                                       const Request& request, const Question& question,
                                       const IsSo& isSo) {
    try {
        return change(session, daemon, request, question);
    } catch (const Failure& failure) {
        const bool mayBeSo =
            failure.kind == Kind::kRefused && session.options().ifNeeded && isSo != nullptr;
        if (!mayBeSo || !isSo()) {
            throw;
        }
        return std::nullopt;
    }
}

Outcome confirmed(const Session& session, const std::string& sentence) {
    Outcome outcome(session.options().json);
    outcome.set("done", true);
    outcome.add_text(visible(sentence) + '\n');
    return outcome;
}

Outcome carry_out(const Act& act, Session& session, const Request& request,
                  const Question& question, const IsSo& isSo) {
    const std::optional<Answer> answer =
        change_if_needed(session, act.daemon, request, question, isSo);
    return answer ? read_confirmation(act, session, *answer) : confirmed(session, "nothing to do");
}

} // namespace zrp::ctl
