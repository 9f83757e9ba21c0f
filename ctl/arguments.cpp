#include "ctl/arguments.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>

#include <CLI/CLI.hpp>

#include "ctl/argument_kinds.h"
#include "ctl/failure.h"
#include "ctl/numbers.h"
#include "ctl/suggestion.h"

namespace zrp::ctl {
namespace {

constexpr double kShortestTimeout = 0.01;
constexpr double kLongestTimeout = 86400;
constexpr double kShortestInterval = 0.1;

[[noreturn]] void fail_usage(const std::string& message) {
    throw Failure{Kind::kUsage, message};
}

milliseconds read_seconds(const char* option, const std::string& text, double least) {
    const std::optional<double> seconds = read_fraction(text);
    if (!seconds || *seconds < least || *seconds > kLongestTimeout) {
        char range[64];
        std::snprintf(range, sizeof range, "%g to %g", least, kLongestTimeout);
        fail_usage(std::string(option) + " \"" + text + "\" is not a number of seconds from " +
                   range);
    }
    return milliseconds(std::llround(*seconds * 1000));
}

// The options that all commands have, as they were typed.
struct TypedOptions {
    Options options;
    std::string timeout;
    std::string watch;
    CLI::Option* timeoutOption = nullptr;
    CLI::Option* watchOption = nullptr;
};

void add_common_options(CLI::App& app, TypedOptions& typed) {
    app.add_flag("--json", typed.options.json);
    app.add_flag("--no-heading", typed.options.noHeading);
    app.add_flag("--verbose", typed.options.verbose);
    app.add_flag("--yes", typed.options.yes);
    app.add_flag("--dry-run", typed.options.dryRun);
    app.add_flag("--if-needed", typed.options.ifNeeded);
    typed.timeoutOption = app.add_option("--timeout", typed.timeout);
    // A flag, since "--watch volumes" has no value.
    typed.watchOption = app.add_flag("--watch{2}", typed.watch);
    app.set_version_flag("--version", "");
}

// CLI11 takes a list in brackets apart. A mark before it keeps the word one.
constexpr char kMark = '\x1f';

std::string marked(const std::string& word) {
    return word.starts_with('[') || word.starts_with(kMark) ? kMark + word : word;
}

std::string unmarked(const std::string& word) {
    return word.starts_with(kMark) ? word.substr(1) : word;
}

struct ArgumentSlot {
    const Argument* argument;
    CLI::Option* option;
};

// A command as CLI11 sees it.
struct CommandSlot {
    const Command* command;
    CLI::App* app;
    std::vector<ArgumentSlot> arguments;
};

bool is_many(Count count) {
    return count == Count::kSome || count == Count::kAny;
}

// CLI11 keeps the values as texts; one argument is one value, whatever it holds.
CLI::Option* add_argument(CLI::App& app, const Argument& argument) {
    if (argument.kind == ArgumentKind::kFlag) {
        return app.add_flag(argument.name)->disable_flag_override();
    }
    CLI::Option* option = app.add_option(argument.name);
    option->type_size(1);
    if (is_option(argument)) {
        option->expected(1)->multi_option_policy(is_many(argument.count)
                                                     ? CLI::MultiOptionPolicy::TakeAll
                                                     : CLI::MultiOptionPolicy::Throw);
    } else if (is_many(argument.count)) {
        constexpr int kMost = 1 << 20;
        option->expected(1, kMost)->allow_extra_args();
    }
    const bool isRequired = argument.count == Count::kOne || argument.count == Count::kSome;
    return option->required(isRequired);
}

CLI::App* add_app(CLI::App& parent, const std::string& name) {
    for (CLI::App* app : parent.get_subcommands([](const CLI::App*) { return true; })) {
        if (app->get_name() == name) {
            return app;
        }
    }
    return parent.add_subcommand(name)->fallthrough();
}

// Whether the command's first word is on the line. All others are kept from CLI11, since telling it
// of each would take most of the time of a start.
bool may_be_meant(const Command& command, std::span<const char* const> line) {
    const std::string_view name = command.name;
    return std::find(line.begin(), line.end(), name.substr(0, name.find(' '))) != line.end();
}

CommandSlot add_command(CLI::App& root, const Command& command) {
    const std::string name = command.name;
    const size_t blank = name.find(' ');
    CLI::App* app = add_app(root, name.substr(0, blank));
    if (blank != std::string::npos) {
        // The first word may be a command by itself.
        app->require_subcommand(find_command(app->get_name()) == nullptr ? 1 : 0, 1);
        app = add_app(*app, name.substr(blank + 1));
    }
    CommandSlot slot = {&command, app, {}};
    for (const Argument& argument : command.arguments) {
        slot.arguments.push_back({&argument, add_argument(*app, argument)});
    }
    return slot;
}

Arguments read_arguments(const CommandSlot& slot) {
    Arguments arguments;
    for (const auto& [argument, option] : slot.arguments) {
        if (option->count() == 0) {
            continue;
        }
        std::vector<std::string> values;
        if (argument->kind != ArgumentKind::kFlag) {
            for (const std::string& word : option->results()) {
                values.push_back(unmarked(word));
                check_argument(*argument, values.back());
            }
        }
        arguments.set(argument->name, std::move(values));
    }
    return arguments;
}

Options read_options(const TypedOptions& typed) {
    Options options = typed.options;
    if (typed.timeoutOption->count() != 0) {
        options.timeout = read_seconds("--timeout", typed.timeout, kShortestTimeout);
    }
    if (typed.watchOption->count() != 0) {
        options.watch = read_seconds("--watch", typed.watch, kShortestInterval);
    }
    return options;
}

void check_options(const Command& command, const Options& options) {
    if (options.watch && command.effect != Effect::kReadOnly) {
        fail_usage("--watch: " + std::string(command.name) + " is not read-only");
    }
}

// A word that no command takes.
[[noreturn]] void fail_word(const std::string& word) {
    fail_usage(word.starts_with('-') ? "unknown option " + word
                                     : "unexpected argument \"" + word + '"');
}

// What was typed where a command belongs.
[[noreturn]] void fail_command(const CLI::App& root) {
    const auto chosen = root.get_subcommands();
    const std::string before = chosen.empty() ? "" : chosen.front()->get_name() + ' ';
    for (const std::string& word : root.remaining(true)) {
        if (word.starts_with('-')) {
            fail_word(word);
        }
        fail_usage(unknown_command(before + word));
    }
    fail_usage(before.empty() ? "a command is missing; try zrpctl --help"
                              : before + "needs one more word; try zrpctl --help");
}

// Of an option with nothing after "=", which CLI11 takes for an option without a value.
void check_values(std::span<const char* const> line) {
    for (const std::string_view word : line) {
        if (word == "--") {
            return;
        }
        if (word.starts_with("--") && word.find('=') == word.size() - 1) {
            fail_usage(std::string(word.substr(0, word.size() - 1)) + " is empty");
        }
    }
}

} // namespace

bool wants_json(std::span<const char* const> line) {
    for (const std::string_view word : line) {
        if (word == "--json") {
            return true;
        }
        if (word == "--") {
            break;
        }
    }
    return false;
}

Invocation read_command_line(std::span<const char* const> line) {
    check_values(line);
    CLI::App root;
    TypedOptions typed;
    add_common_options(root, typed);
    root.require_subcommand(1);
    std::vector<CommandSlot> slots;
    for (const Command& command : commands()) {
        if (may_be_meant(command, line)) {
            slots.push_back(add_command(root, command));
        }
    }
    const auto chosen = [&] {
        return std::find_if(slots.begin(), slots.end(), [](const CommandSlot& slot) {
            return slot.app->parsed() && slot.app->get_subcommands().empty();
        });
    };
    Invocation invocation;
    std::vector<std::string> words(line.rbegin(), line.rend()); // as CLI11 takes them
    std::transform(words.begin(), words.end(), words.begin(), marked);
    try {
        root.parse(words);
    } catch (const CLI::CallForVersion&) {
        invocation.action = Invocation::Action::kVersion;
        return invocation;
    } catch (const CLI::CallForHelp&) {
        invocation.action = Invocation::Action::kHelp;
        invocation.command = chosen() == slots.end() ? nullptr : chosen()->command;
        return invocation;
    } catch (const CLI::ParseError& error) {
        if (chosen() == slots.end()) {
            fail_command(root);
        }
        for (const std::string& word : root.remaining(true)) {
            fail_word(unmarked(word));
        }
        fail_usage(error.what());
    }
    invocation.command = chosen()->command;
    invocation.options = read_options(typed);
    check_options(*invocation.command, invocation.options);
    invocation.arguments = read_arguments(*chosen());
    return invocation;
}

int32_t Arguments::number(const char* name) const {
    return static_cast<int32_t>(*read_unsigned(text(name)));
}

uint32_t Arguments::mask(const char* name) const {
    return static_cast<uint32_t>(*read_mask(text(name)));
}

std::vector<std::string> Arguments::list(const char* name) const {
    const auto at = values_.find(name);
    return at == values_.end() ? std::vector<std::string>() : at->second;
}

std::vector<int32_t> Arguments::numbers(const char* name) const {
    std::vector<int32_t> numbers;
    for (const std::string& text : list(name)) {
        numbers.push_back(static_cast<int32_t>(*read_unsigned(text)));
    }
    return numbers;
}

} // namespace zrp::ctl
