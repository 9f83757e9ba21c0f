// A command of zrpctl as a row of a table, which dispatch, help, completion and tests read.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/session.h"

namespace zrp::ctl {

class Outcome;

enum class ArgumentKind : uint8_t {
    kFlag,        // an option without a value
    kVolume,      // a volume's name of at most 15 bytes
    kAskedVolume, // of at most 16
    kSetting,     // a setting's name
    kStation,     // a connection's number, from 1 on
    kNumber,      // from 0 to 2147483647
    kMask,        // 32 bits, decimal or 0x hexadecimal
    kWord,        // one of the words of the row
    kAttribute,   // a word of a volume's state that a request may change
    kText,        // not empty
    kPath,        // not empty
    kFile,        // of this machine
};

enum class Count : uint8_t { kOptional, kOne, kSome, kAny }; // kSome is one or more

struct Argument {
    const char* name; // an option begins with "--"
    ArgumentKind kind;
    Count count;
    const char* summary;
    std::span<const char* const> words = {}; // for kWord
};

inline bool is_option(const Argument& argument) {
    return std::string_view(argument.name).starts_with("--");
}

// The values of one command line, checked against the row.
class Arguments {
public:
    [[nodiscard]] bool has(const char* name) const {
        return values_.contains(name);
    }

    // The value, which must be there.
    [[nodiscard]] const std::string& text(const char* name) const {
        return values_.at(name).front();
    }
    [[nodiscard]] int32_t number(const char* name) const;
    [[nodiscard]] uint32_t mask(const char* name) const;

    // All values; none for an argument that was not given.
    [[nodiscard]] std::vector<std::string> list(const char* name) const;
    [[nodiscard]] std::vector<int32_t> numbers(const char* name) const;

    void set(const std::string& name, std::vector<std::string> values) {
        values_[name] = std::move(values);
    }

private:
    std::map<std::string, std::vector<std::string>, std::less<>> values_;
};

enum class Effect : uint8_t {
    kReadOnly,
    kChanges, // something of the server
    kSends,   // a document that the user wrote, which may change something
};

// Throws a Failure; a DryRun comes from Session::change.
using Run = Outcome (*)(Session& session, const Arguments& arguments);

struct Command {
    const char* name; // one or two words
    const char* group;
    const char* summary;
    Effect effect;
    std::span<const Argument> arguments;
    const char* example; // works in the demo's shell
    Run run;
};

// All commands, in the order of the help.
std::span<const Command> commands();

const Command* find_command(std::string_view name);

// The options that all commands have.
struct CommonOption {
    const char* name;  // without a value: "--json"
    const char* value; // its name in the help; null without one
    const char* summary;
};
std::span<const CommonOption> common_options();

// The families; each has a file.
std::span<const Command> status_commands();
std::span<const Command> volume_commands();
std::span<const Command> connection_commands();
std::span<const Command> statistics_commands();
std::span<const Command> metrics_commands();
std::span<const Command> diagnostics_commands();
std::span<const Command> settings_commands();
std::span<const Command> files_commands();
std::span<const Command> storage_commands();
std::span<const Command> wait_commands();
std::span<const Command> volume_act_commands();
std::span<const Command> shadow_commands();
std::span<const Command> storage_act_commands();
std::span<const Command> connection_act_commands();
std::span<const Command> server_act_commands();
std::span<const Command> send_commands();

} // namespace zrp::ctl
