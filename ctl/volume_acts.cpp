// Mounting, creating, changing and removing volumes.
#include <algorithm>
#include <vector>

#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/lookups.h"
#include "ctl/numbers.h"
#include "ctl/text.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

constexpr const char* kAllVolumes = "--all";
constexpr const char* kNumberOption = "--number";

// What differs between mounting and dismounting.
struct Mounting {
    const char* verb; // begins the question
    const char* word; // of what became of a volume
    bool mounts;
    bool asksForFiles; // that are open
    const char* tag;   // of volumes by name
    const char* allTag;
    std::span<const Field> fields; // of a volume by name: its name and, as the last, its code
    char* (*build)(std::span<const NamedVolume> volumes, uint32_t* length);
    char* (*buildAll)(uint32_t* length);
};

constexpr Field kMountFields[] = {
    {tag::name, Field::kText},
    {tag::status, Field::kStatus},
    {tag::mountFailureCode, Field::kNumber},
};
constexpr Field kDismountFields[] = {
    {tag::name, Field::kText},
    {tag::dismountFailureCode, Field::kNumber},
};
constexpr Field kAllFields[] = {{tag::name, Field::kText}};

constexpr Mounting kMount = {"Mount",
                             "mounted",
                             true,
                             false,
                             tag::mountVolumes,
                             tag::mountAll,
                             kMountFields,
                             BuildMountNamedVolumesRequest,
                             BuildMountAllRequest};
constexpr Mounting kDismount = {"Dismount",
                                "dismounted",
                                false,
                                true,
                                tag::dismountVolumes,
                                tag::dismountAll,
                                kDismountFields,
                                BuildDismountNamedVolumesRequest,
                                BuildDismountAllRequest};

std::vector<Item> read_mountings(const Answer& answer, const char* tag,
                                 std::span<const Field> fields) {
    std::vector<Item> items;
    for (const Node volume : command_of(answer, kServer, tag).children(tag::volume)) {
        items.push_back(read_item(fields, volume, kServer));
    }
    return items;
}

Outcome show_mountings(const Session& session, std::span<const Field> fields,
                       const std::vector<Item>& items) {
    Outcome outcome(session.options().json);
    start_items(outcome, "volumes", fields);
    for (const Item& item : items) {
        add_item(outcome, fields, item);
    }
    return outcome;
}

Outcome mount_all(const Mounting& kind, Session& session) {
    const Answer answer = change(session, kServer, request(kind.buildAll), [&] {
        return std::string(kind.verb) + " all volumes" +
               (kind.asksForFiles ? open_files_note(session, "") : "");
    });
    return show_mountings(session, kAllFields, read_mountings(answer, kind.allTag, kAllFields));
}

std::string mount_question(const Mounting& kind, const Session& session,
                           const std::vector<std::string>& names) {
    if (names.size() > 1) {
        return std::string(kind.verb) + " the volumes " + joined(names);
    }
    return std::string(kind.verb) + " volume " + names.front() +
           (kind.asksForFiles ? open_files_note(session, names.front()) : "");
}

// Whether a volume that was refused already is as it was to become.
bool is_mounted_as_wanted(const Mounting& kind, const std::vector<VolumeEntry>& volumes,
                          const std::string& name, int32_t number) {
    const VolumeEntry* volume = find_volume(volumes, name);
    return volume != nullptr && is_mounted(*volume) == kind.mounts &&
           (number == kUnchangedNumber || volume->number == number);
}

// The first refusal becomes the failure, which names all.
void add_refusals(const Mounting& kind, const Session& session, const std::vector<Item>& items,
                  int32_t number, Outcome& outcome) {
    std::vector<std::string> refused;
    std::optional<std::vector<VolumeEntry>> volumes;
    int64_t code = 0;
    for (const Item& item : items) {
        const int64_t itsCode = read_number(*item.back()).value_or(0);
        if (itsCode == 0) {
            continue;
        }
        if (session.options().ifNeeded && !volumes) {
            volumes = list_volumes(session);
        }
        if (!volumes || !is_mounted_as_wanted(kind, *volumes, *item.front(), number)) {
            code = refused.empty() ? itsCode : code;
            refused.push_back(*item.front());
        }
    }
    if (!refused.empty()) {
        outcome.failure =
            Failure{Kind::kRefused, "not " + std::string(kind.word) + ": " + joined(refused),
                    kServer.name, code};
    }
}

Outcome mount_named(const Mounting& kind, Session& session, const std::vector<std::string>& names,
                    int32_t number) {
    std::vector<std::string> escaped;
    escaped.reserve(names.size());
    std::vector<NamedVolume> volumes;
    for (const std::string& name : names) {
        escaped.push_back(sendable(kName, name));
        volumes.push_back({escaped.back().c_str(), number});
    }
    const Request toSend = request([&](uint32_t* length) { return kind.build(volumes, length); });
    const Answer answer =
        change(session, kServer, toSend, [&] { return mount_question(kind, session, names); });
    const std::vector<Item> items = read_mountings(answer, kind.tag, kind.fields);
    if (items.size() != names.size()) {
        fail_reply("the reply does not name every volume", kServer);
    }
    Outcome outcome = show_mountings(session, kind.fields, items);
    add_refusals(kind, session, items, number, outcome);
    return outcome;
}

Outcome mount_as(const Mounting& kind, Session& session, const Arguments& arguments) {
    constexpr const char* kTargets[] = {kName, kAllVolumes};
    need_one_of(arguments, kTargets);
    const std::vector<std::string> names = arguments.list(kName);
    const bool hasNumber = arguments.has(kNumberOption);
    if (hasNumber && names.size() != 1) {
        throw Failure{Kind::kUsage, "--number is for one volume"};
    }
    return names.empty()
               ? mount_all(kind, session)
               : mount_named(kind, session, names,
                             hasNumber ? arguments.number(kNumberOption) : kUnchangedNumber);
}

Outcome mount(Session& session, const Arguments& arguments) {
    return mount_as(kMount, session, arguments);
}

Outcome dismount(Session& session, const Arguments& arguments) {
    return mount_as(kDismount, session, arguments);
}

constexpr Field kFlushed[] = {
    {tag::volumeCount, Field::kNumber, false},
};

Outcome flush(Session& session, const Arguments& /*arguments*/) {
    return carry_out({kServer, tag::flushVolumes, nullptr, kFlushed, "volumes flushed"}, session,
                     request(BuildFlushVolumesRequest), [] { return "Flush all volumes"; });
}

constexpr Field kActedVolume[] = {{tag::volumeName, Field::kText}};

Outcome purge(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    return carry_out(
        {kServer, tag::purgeVolume, nullptr, kActedVolume, "volume purged"}, session,
        request([&](uint32_t* length) { return BuildPurgeVolumeRequest(name.c_str(), length); }),
        [&] { return "Purge deleted files of volume " + arguments.text(kName); });
}

Outcome create(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    const std::string path = sendable(arguments, "PATH");
    const int32_t number =
        arguments.has(kNumberOption) ? arguments.number(kNumberOption) : kAnyVolumeNumber;
    const auto attributes = static_cast<int32_t>(attributes_of(arguments, "--attribute"));
    return carry_out(
        {kServer, tag::createVolume, nullptr, kActedVolume, "volume created"}, session,
        request([&](uint32_t* length) {
            return BuildCreateVolumeRequest(name.c_str(), path.c_str(), attributes, number, length);
        }),
        [&] { return "Create volume " + arguments.text(kName) + " at " + arguments.text("PATH"); },
        [&] {
            return volume_detail(session, arguments.text(kName), tag::mountPoint) ==
                   arguments.text("PATH");
        });
}

Outcome remove(Session& session, const Arguments& arguments) {
    const std::string& typed = arguments.text(kName);
    const std::string name = sendable(arguments, kName);
    const std::optional<std::string> options = optional_sendable(arguments, "--options");
    return carry_out(
        {kServer, tag::removeVolume, nullptr, kActedVolume, "volume removed"}, session,
        request([&](uint32_t* length) {
            return BuildRemoveVolumeRequest(name.c_str(), text_or_null(options), length);
        }),
        [&] { return "Remove volume " + typed + open_files_note(session, typed); },
        [&] { return find_volume(list_volumes(session), typed) == nullptr; });
}

constexpr Field kModified[] = {
    {tag::volumeName, Field::kText},
    {tag::grant, Field::kMask},
};

Outcome modify(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    const uint32_t grant = attributes_of(arguments, "--grant");
    const uint32_t revoke = attributes_of(arguments, "--revoke");
    if ((grant | revoke) == 0) {
        throw Failure{Kind::kUsage, "--grant or --revoke is needed"};
    }
    if ((grant & revoke) != 0) {
        throw Failure{Kind::kUsage, "--grant and --revoke name the same attribute"};
    }
    return carry_out({kServer, tag::modifyVolume, nullptr, kModified, "volume modified"}, session,
                     request([&](uint32_t* length) {
                         return BuildModifyVolumeRequest(name.c_str(), grant, revoke, length);
                     }),
                     [&] { return "Change the attributes of volume " + arguments.text(kName); });
}

constexpr Field kTreeFields[] = {
    {tag::volumeName, Field::kText, false},
    {control::controlFlags, Field::kMask, false},
};

Outcome control_tree(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    return carry_out({kServer, control::VTCRequest, nullptr, kTreeFields, "tree flags set"},
                     session, request([&](uint32_t* length) {
                         return BuildVolumeTreeControlRequest(kVolumeTreeVersion, name.c_str(),
                                                              arguments.mask("FLAGS"), length);
                     }),
                     [&] { return "Set the tree flags of volume " + arguments.text(kName); });
}

constexpr const char* kVolumeActsGroup = "Change volumes";

constexpr Argument kNumberArgument = {kNumberOption, ArgumentKind::kNumber, Count::kOptional,
                                      "give the volume this number"};
constexpr Argument kMountArguments[] = {
    {kName, ArgumentKind::kVolume, Count::kAny, "a volume"},
    kNumberArgument,
    {kAllVolumes, ArgumentKind::kFlag, Count::kOptional, "all that can be mounted"},
};
constexpr Argument kDismountArguments[] = {
    {kName, ArgumentKind::kVolume, Count::kAny, "a volume"},
    {kAllVolumes, ArgumentKind::kFlag, Count::kOptional, "all that are mounted"},
};
constexpr Argument kOneVolume[] = {kVolumeArgument};
constexpr Argument kCreateVolumeArguments[] = {
    {kName, ArgumentKind::kVolume, Count::kOne, "the new volume"},
    {"PATH", ArgumentKind::kPath, Count::kOne, "its mount point on the server"},
    kNumberArgument,
    {"--attribute", ArgumentKind::kAttribute, Count::kAny, "an attribute of the volume"},
};
constexpr Argument kRemoveVolumeArguments[] = {
    kVolumeArgument,
    {"--options", ArgumentKind::kText, Count::kOptional, "a word for the server"},
};
constexpr Argument kModifyArguments[] = {
    kVolumeArgument,
    {"--grant", ArgumentKind::kAttribute, Count::kAny, "an attribute that the volume gets"},
    {"--revoke", ArgumentKind::kAttribute, Count::kAny, "an attribute that it loses"},
};
constexpr Argument kTreeArguments[] = {
    kVolumeArgument,
    {"FLAGS", ArgumentKind::kMask, Count::kOne, "bits, decimal or after 0x"},
};

constexpr Command kVolumeActs[] = {
    {"mount", kVolumeActsGroup, "Mount volumes", Effect::kChanges, kMountArguments,
     "zrpctl mount BACKUP", mount},
    {"dismount", kVolumeActsGroup, "Dismount volumes", Effect::kChanges, kDismountArguments,
     "zrpctl dismount HOME", dismount},
    {"flush",
     kVolumeActsGroup,
     "Write the caches of all volumes to disk",
     Effect::kChanges,
     {},
     "zrpctl flush",
     flush},
    {"purge", kVolumeActsGroup, "Give back the space of a volume's deleted files", Effect::kChanges,
     kOneVolume, "zrpctl purge DATA", purge},
    {"create", kVolumeActsGroup, "Create a volume", Effect::kChanges, kCreateVolumeArguments,
     "zrpctl create NEW /srv/new --attribute compression", create},
    {"remove", kVolumeActsGroup, "Remove a volume from the server", Effect::kChanges,
     kRemoveVolumeArguments, "zrpctl remove DATA", remove},
    {"modify", kVolumeActsGroup, "Change the attributes of a volume", Effect::kChanges,
     kModifyArguments, "zrpctl modify DATA --grant read-only", modify},
    {"tree", kVolumeActsGroup, "Set the flags of a volume's directory tree", Effect::kChanges,
     kTreeArguments, "zrpctl tree DATA 0x3", control_tree},
};

} // namespace

std::span<const Command> volume_act_commands() {
    return kVolumeActs;
}

} // namespace zrp::ctl
