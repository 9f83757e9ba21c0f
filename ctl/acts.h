// What the commands that change something share: typed texts, the exchange, and what is shown of a
// reply that only confirms.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "ctl/command.h"
#include "ctl/fields.h"
#include "ctl/prompt.h"
#include "ctl/session.h"

namespace zrp::ctl {

// Arguments of several families.
inline constexpr const char* kName = "NAME";
inline constexpr Argument kVolumeArgument = {kName, ArgumentKind::kVolume, Count::kOne,
                                             "the volume"};

// A typed text in the form that a request may hold. Throws a Failure of kind kUsage that names the
// argument.
std::string sendable(const char* name, const std::string& typed);

inline std::string sendable(const Arguments& arguments, const char* name) {
    return sendable(name, arguments.text(name));
}

// The same for an option, nothing if it was not given.
std::optional<std::string> optional_sendable(const Arguments& arguments, const char* name);

inline const char* text_or_null(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

// The bits of all words of an option.
uint32_t attributes_of(const Arguments& arguments, const char* name);

// Throws a Failure of kind kUsage unless exactly one of the arguments was given.
void need_one_of(const Arguments& arguments, std::span<const char* const> names);

// Throws a Failure of kind kUsage for an option that was given without another argument.
void check_needs(const Arguments& arguments, const char* option, const char* needed);

// request() of a document in which only that argument can be too long.
template <typename Build>
Request request_with(const char* argument, Build build) {
    try {
        return request(build);
    } catch (const Failure& failure) {
        if (failure.kind != Kind::kUsage) {
            throw;
        }
        throw Failure{Kind::kUsage, std::string(argument) + " is too long for a request"};
    }
}

// Asks a person, then the daemon.
Answer change(Session& session, const Daemon& daemon, const Request& request,
              const Question& question);

// Whether everything is already as a refused change would make it.
using IsSo = std::function<bool()>;

// The same; nothing if the daemon refused, --if-needed was given and all is so.
std::optional<Answer> change_if_needed(Session& session, const Daemon& daemon,
                                       const Request& request, const Question& question,
                                       const IsSo& isSo);

// What is shown of a change that was made; the sentence is for people.
Outcome confirmed(const Session& session, const std::string& sentence);

// A change whose reply only confirms it.
struct Act {
    const Daemon& daemon;
    const char* tag;                   // of the command in the reply
    const char* group = nullptr;       // inside it, that holds the rest; null for none
    std::span<const Field> named = {}; // by the reply
    const char* done;                  // "volume created", before what the reply names
};

Outcome carry_out(const Act& act, Session& session, const Request& request,
                  const Question& question, const IsSo& isSo = {});

} // namespace zrp::ctl
