#include <algorithm>
#include <vector>

#include "ctl/command.h"

namespace zrp::ctl {
namespace {

using Family = std::span<const Command> (*)();

constexpr Family kFamilies[] = {
    status_commands,         statistics_commands, metrics_commands,     volume_commands,
    connection_commands,     files_commands,      settings_commands,    diagnostics_commands,
    storage_commands,        wait_commands,       volume_act_commands,  shadow_commands,
    connection_act_commands, server_act_commands, storage_act_commands, send_commands,
};

std::vector<Command> join_families() {
    std::vector<Command> all;
    for (const Family family : kFamilies) {
        all.insert(all.end(), family().begin(), family().end());
    }
    return all;
}

constexpr CommonOption kCommonOptions[] = {
    {"--json", nullptr, "print one JSON object on one line"},
    {"--no-heading", nullptr, "leave the line of headings out"},
    {"--timeout", "SECONDS", "time for all that the command asks, 0.01 to 86400 (10)"},
    {"--watch", "[=SECONDS]",
     "repeat a read-only command, every 2 seconds or SECONDS, at least 0.1"},
    {"--yes", nullptr, "do not ask before something changes"},
    {"--dry-run", nullptr, "print the document that would be sent, and send nothing"},
    {"--if-needed", nullptr, "a change that is there already is a success"},
    {"--verbose", nullptr, "show requests and replies on standard error"},
    {"--help", nullptr, "explain zrpctl or a command"},
    {"--version", nullptr, "print the version"},
};

} // namespace

std::span<const Command> commands() {
    static const std::vector<Command> all = join_families();
    return all;
}

const Command* find_command(std::string_view name) {
    const auto all = commands();
    const auto at = std::find_if(all.begin(), all.end(),
                                 [&](const Command& command) { return command.name == name; });
    return at == all.end() ? nullptr : &*at;
}

std::span<const CommonOption> common_options() {
    return kCommonOptions;
}

} // namespace zrp::ctl
