// Control of the storage daemon, and the virtual servers of a cluster.
#include "common/client/session.h"
#include "common/requests/cluster_resource.h"
#include "common/requests/storage_control.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/fields.h"

namespace zrp::ctl {
namespace {

constexpr Field kFilter[] = {
    {tag::name, Field::kText},
    {tag::value, Field::kMask},
};

Outcome show_filters(Session& session, const Arguments&) {
    const Answer answer = session.ask(kStorage, request(BuildFilterListRequest));
    const Node list = find_inside(command_of(answer, kStorage, tag::filter), control::list);
    if (!list) {
        fail_reply("the reply has no list of filters", kStorage);
    }
    Outcome outcome(session.options().json);
    start_items(outcome, "filters", kFilter);
    for (const Node node : list.children(tag::parm)) {
        add_item(outcome, kFilter, read_item(kFilter, node, kStorage));
    }
    return outcome;
}

struct ControlListRow {
    ControlList which;
    const char* option;
    const char* tag;
    const char* key;
};

constexpr ControlListRow kControlLists[] = {
    {kExcludedVolumes, "--excluded", control::zrpexcluded, "excluded"},
    {kIncludedVolumes, "--included", control::zrpincluded, "included"},
};

// Both lists without an option.
int32_t chosen_lists(const Arguments& arguments) {
    int32_t which = 0;
    for (const ControlListRow& row : kControlLists) {
        which |= arguments.has(row.option) ? row.which : 0;
    }
    return which == 0 ? int32_t{kBothLists} : which;
}

Json read_control_list(Node control, const ControlListRow& row, Outcome& outcome) {
    const Node list = find_inside(control, row.tag);
    if (!list) {
        fail_reply("the reply lacks a list of volumes", kStorage);
    }
    Json names = Json::array();
    for (const Node node : list.children(tag::volumeName)) {
        names.push_back(text_of(node));
        outcome.add_row({text_of(node), row.key});
    }
    return names;
}

Outcome show_exclusions(Session& session, const Arguments& arguments) {
    const int32_t which = chosen_lists(arguments);
    const Answer answer = session.ask(kStorage, request([&](uint32_t* length) {
                                          return BuildControlListRequest(which, length);
                                      }));
    const Node control = command_of(answer, kStorage, command::exclusion_control);
    Outcome outcome(session.options().json);
    outcome.start_table({{"NAME"}, {"STATE"}});
    Json exclusions = Json::object();
    for (const ControlListRow& row : kControlLists) {
        if ((which & row.which) != 0) {
            exclusions[row.key] = read_control_list(control, row, outcome);
        }
    }
    outcome.set("exclusions", exclusions);
    return outcome;
}

Outcome show_mount_point(Session& session, const Arguments& arguments) {
    const std::string& name = arguments.text("NAME");
    const Answer answer =
        session.ask(kStorage, request([&](uint32_t* length) {
                        return BuildMountPointRequest(client::Escaped(name).c_str(), length);
                    }));
    const auto path = text_inside(command_of(answer, kStorage, command::exclusion_control),
                                  command::get_volume_mount_point);
    if (!path) {
        fail_reply("the reply holds no mount point", kStorage);
    }
    Outcome outcome(session.options().json);
    outcome.set(tag::mountPoint, {{"name", name}, {tag::mountPoint, *path}});
    outcome.start_table({{"NAME"}, {"MOUNTPOINT"}});
    outcome.add_row({name, *path});
    return outcome;
}

constexpr Field kVirtualServer[] = {
    {tag::name, Field::kText},
    {tag::IP, Field::kText},
};

Outcome show_servers(Session& session, const Arguments&) {
    const Answer answer = session.ask(kServer, request(BuildListVirtualServersRequest));
    const Node list =
        find_inside(command_of(answer, kServer, tag::listvirtualservers), tag::virtualservers);
    if (!list) {
        fail_reply("the reply has no list of servers", kServer);
    }
    Outcome outcome(session.options().json);
    start_items(outcome, "servers", kVirtualServer);
    for (const Node node : list.children(tag::server)) {
        add_item(outcome, kVirtualServer, read_item(kVirtualServer, node, kServer));
    }
    return outcome;
}

constexpr const char* kStorageGroup = "Storage daemon";

constexpr Argument kExclusionArguments[] = {
    {"--excluded", ArgumentKind::kFlag, Count::kOptional, "the volumes that are not served"},
    {"--included", ArgumentKind::kFlag, Count::kOptional, "the volumes that are served"},
};
constexpr Argument kMountPointArguments[] = {
    {"NAME", ArgumentKind::kVolume, Count::kOne, "the volume"},
};

constexpr Command kStorageCommands[] = {
    {"filters",
     kStorageGroup,
     "List the event filters",
     Effect::kReadOnly,
     {},
     "zrpctl filters",
     show_filters},
    {"exclusions", kStorageGroup, "List the volumes in and out of the file service",
     Effect::kReadOnly, kExclusionArguments, "zrpctl exclusions --excluded", show_exclusions},
    {"mount-point", kStorageGroup, "Show where a volume is mounted", Effect::kReadOnly,
     kMountPointArguments, "zrpctl mount-point DATA", show_mount_point},
    {"cluster servers",
     "Cluster",
     "List the virtual servers",
     Effect::kReadOnly,
     {},
     "zrpctl cluster servers",
     show_servers},
};

} // namespace

std::span<const Command> storage_commands() {
    return kStorageCommands;
}

} // namespace zrp::ctl
