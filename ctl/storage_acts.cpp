// Changes at the storage daemon: the volumes that it serves, its event filter and its log.
#include "common/requests/storage_control.h"
#include "common/requests/storage_daemon.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/lookups.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

// What differs between excluding and including.
struct Control {
    const char* verb;
    const char* done;
    uint32_t action;
    const char* option; // that also mounts or dismounts
    uint32_t optionAction;
    bool mounts;
    const char* list; // that holds the volume afterwards
};

constexpr Control kExclude = {"Exclude",           "volume excluded", kRemoveFromControl,
                              "--dismount",        kThenDismount,     false,
                              control::zrpexcluded};
constexpr Control kInclude = {"Include", "volume included",   kAddToControl, "--mount", kThenMount,
                              true,      control::zrpincluded};

constexpr Field kControlledVolume[] = {
    {tag::volumeName, Field::kText, false},
};

bool is_controlled(const Session& session, const Control& kind, const std::string& name,
                   bool withMount) {
    if (!is_in_list(session, name, kind.list)) {
        return false;
    }
    const std::vector<VolumeEntry> volumes = list_volumes(session);
    const VolumeEntry* volume = find_volume(volumes, name);
    return !withMount || (volume != nullptr && is_mounted(*volume) == kind.mounts);
}

Outcome control(const Control& kind, Session& session, const Arguments& arguments) {
    const std::string& typed = arguments.text(kName);
    const std::string name = sendable(arguments, kName);
    const bool withMount = arguments.has(kind.option);
    const uint32_t action = kind.action | (withMount ? kind.optionAction : 0);
    return carry_out(
        {kStorage, command::exclusion_control, nullptr, kControlledVolume, kind.done}, session,
        request([&](uint32_t* length) {
            return BuildControlActionRequest(action, name.c_str(), length);
        }),
        [&] {
            const bool asksForFiles = withMount && !kind.mounts;
            return std::string(kind.verb) + " volume " + typed +
                   (asksForFiles ? open_files_note(session, typed) : "");
        },
        [&] { return is_controlled(session, kind, typed, withMount); });
}

Outcome exclude(Session& session, const Arguments& arguments) {
    return control(kExclude, session, arguments);
}

Outcome include(Session& session, const Arguments& arguments) {
    return control(kInclude, session, arguments);
}

constexpr Field kFilterName[] = {{tag::name, Field::kText, false}};

Outcome set_filter(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    return carry_out(
        {kStorage, tag::filter, nullptr, kFilterName, "filter set"}, session,
        request([&](uint32_t* length) {
            return BuildFilterSetRequest(name.c_str(), arguments.mask("VALUE"), length);
        }),
        [&] {
            return "Set the filter " + arguments.text(kName) + " to " + arguments.text("VALUE");
        });
}

Outcome reset_filters(Session& session, const Arguments& /*arguments*/) {
    return carry_out({kStorage, tag::filter, nullptr, {}, "filters reset"}, session,
                     request(BuildFilterResetRequest), [] { return "Reset all filters"; });
}

Outcome turn_filters_off(Session& session, const Arguments& /*arguments*/) {
    return carry_out({kStorage, tag::filter, nullptr, {}, "filters off"}, session,
                     request(BuildFilterOffRequest), [] { return "Turn all filters off"; });
}

constexpr Field kLevel[] = {{tag::options, Field::kText, false}};

Outcome set_log_level(Session& session, const Arguments& arguments) {
    const std::string level = sendable(arguments, "WORD");
    return carry_out(
        {kStorage, command::change_logging_level, nullptr, kLevel, "log level set"}, session,
        request([&](uint32_t* length) {
            return BuildChangeLoggingLevelRequest(level.c_str(), length);
        }),
        [&] { return "Set the storage daemon's log level to " + arguments.text("WORD"); });
}

constexpr const char* kStorageActsGroup = "Change the storage daemon";

constexpr Argument kExcludeArguments[] = {
    kVolumeArgument,
    {"--dismount", ArgumentKind::kFlag, Count::kOptional, "dismount it as well"},
};
constexpr Argument kIncludeArguments[] = {
    kVolumeArgument,
    {"--mount", ArgumentKind::kFlag, Count::kOptional, "mount it as well"},
};
constexpr Argument kFilterArguments[] = {
    {kName, ArgumentKind::kText, Count::kOne, "the filter"},
    {"VALUE", ArgumentKind::kMask, Count::kOne, "bits of events, decimal or after 0x"},
};
constexpr const char* kLevels[] = {"NOTHING", "ERROR", "WARNING",   "INFO",
                                   "DEBUG",   "DUMP",  "EVERYTHING"};
constexpr Argument kLevelArguments[] = {
    {"WORD", ArgumentKind::kWord, Count::kOne, "the least important lines that are logged",
     kLevels},
};

constexpr Command kStorageActs[] = {
    {"exclude", kStorageActsGroup, "Take a volume out of the file service", Effect::kChanges,
     kExcludeArguments, "zrpctl exclude DATA --dismount", exclude},
    {"include", kStorageActsGroup, "Bring a volume back into the file service", Effect::kChanges,
     kIncludeArguments, "zrpctl include DATA --mount --if-needed", include},
    {"filter set", kStorageActsGroup, "Set one event filter", Effect::kChanges, kFilterArguments,
     "zrpctl filter set events 0x3", set_filter},
    {"filter reset",
     kStorageActsGroup,
     "Set all event filters as they were at the start",
     Effect::kChanges,
     {},
     "zrpctl filter reset",
     reset_filters},
    {"filter off",
     kStorageActsGroup,
     "Let no event pass",
     Effect::kChanges,
     {},
     "zrpctl filter off",
     turn_filters_off},
    {"log-level", kStorageActsGroup, "Set the log level of the storage daemon", Effect::kChanges,
     kLevelArguments, "zrpctl log-level DEBUG", set_log_level},
};

} // namespace

std::span<const Command> storage_act_commands() {
    return kStorageActs;
}

} // namespace zrp::ctl
