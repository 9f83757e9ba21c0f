// Control of the storage daemon: the volumes that it excludes from the file service, its event
// filter and its log level.
#include <algorithm>
#include <array>
#include <cstring>
#include <strings.h>

#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/whole_number.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

// A request inside a command: the name of its element and its handler.
struct ActionRow {
    const char* name;
    Handler carryOut;
};

Outcome carry_out_one(std::span<const ActionRow> rows, World& world, pugi::xml_node command,
                      std::string& out) {
    const pugi::xml_node request = command.first_child();
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const ActionRow& one) {
        return std::strcmp(one.name, request.name()) == 0;
    });
    if (row == rows.end() || request.next_sibling()) {
        return {kBadRequest, std::string("not exactly one request inside ") + command.name()};
    }
    return row->carryOut(world, request, out);
}

// The storage daemon has only the volumes of the BKS layer.
Outcome own_volume(World& world, pugi::xml_node request, Volume*& volume) {
    Outcome outcome = named_volume(world, request, "volumeName", volume);
    if (outcome.code == 0 && (volume->status & kBks) == 0) {
        outcome = {kNoSuchObject, "not a BKS volume: " + volume->name};
    }
    return outcome;
}

void append_volumes(const World& world, bool excluded, const char* tag, std::string& out) {
    open_element(out, tag);
    for (const Volume& volume : world.volumes) {
        if ((volume.status & kBks) != 0 && volume.excluded == excluded) {
            text_element(out, "volumeName", volume.name);
        }
    }
    close_element(out, tag);
}

Outcome list_storage_volumes(World& world, pugi::xml_node request, std::string& out) {
    const bool all = static_cast<bool>(request.child("all"));
    const bool excluded = all || request.child("zrpexcluded");
    const bool included = all || request.child("zrpincluded");
    if (!excluded && !included) {
        return {kBadRequest, "no list is asked for"};
    }
    if (excluded) {
        append_volumes(world, true, "zrpexcluded", out);
    }
    if (included) {
        append_volumes(world, false, "zrpincluded", out);
    }
    return {};
}

// A volume that is already in the wanted state is not an error.
void follow_switches(World& world, pugi::xml_node request, Volume& volume) {
    if (request.child("dismountVolumes")) {
        dismount_volume(world, volume);
    }
    if (request.child("mountVolumes")) {
        mount_volume(world, volume);
    }
}

Outcome exclude(World& world, pugi::xml_node request, std::string& out) {
    Volume* volume = nullptr;
    Outcome outcome = own_volume(world, request, volume);
    if (outcome.code != 0) {
        return outcome;
    }
    if (volume->excluded) {
        return {kExists, "volume is excluded: " + volume->name};
    }
    volume->excluded = true;
    follow_switches(world, request, *volume);
    text_element(out, "volumeName", volume->name);
    return {};
}

Outcome include(World& world, pugi::xml_node request, std::string& out) {
    Volume* volume = nullptr;
    Outcome outcome = own_volume(world, request, volume);
    if (outcome.code != 0) {
        return outcome;
    }
    if (!volume->excluded) {
        return {kExists, "volume is included: " + volume->name};
    }
    volume->excluded = false;
    follow_switches(world, request, *volume);
    text_element(out, "volumeName", volume->name);
    return {};
}

Outcome mount_point(World& world, pugi::xml_node request, std::string& out) {
    Volume* volume = nullptr;
    Outcome outcome = own_volume(world, request, volume);
    if (outcome.code != 0) {
        return outcome;
    }
    count_storage_event(world, "Get mount point info requests");
    text_element(out, "get_volume_mount_point", volume->mountPoint);
    return {};
}

constexpr std::array kExclusion = std::to_array<ActionRow>({
    {"listVolumes", list_storage_volumes},
    {"removeVolume", exclude},
    {"createVolume", include},
    {"get_volume_mount_point", mount_point},
});

Outcome exclusion_control(World& world, pugi::xml_node command, std::string& out) {
    return carry_out_one(kExclusion, world, command, out);
}

Outcome list_filter(World& world, pugi::xml_node, std::string& out) {
    open_element(out, "list");
    for (const FilterValue& filter : world.filters) {
        open_element(out, "parm");
        text_element(out, "name", filter.name);
        hex_element(out, "value", filter.value);
        close_element(out, "parm");
    }
    close_element(out, "list");
    return {};
}

Outcome set_filter(World& world, pugi::xml_node request, std::string& out) {
    const std::string name = text_inside(request, "name");
    const std::string text = text_inside(request, "value");
    const auto at = std::find_if(world.filters.begin(), world.filters.end(),
                                 [&](const FilterValue& one) { return one.name == name; });
    if (at == world.filters.end()) {
        return {kNoSuchObject, "no such filter: " + name};
    }
    constexpr int kHexadecimal = 16;
    const auto value = text.starts_with("0x")
                           ? whole_number<uint32_t>(std::string_view(text).substr(2), kHexadecimal)
                           : std::nullopt;
    if (!value) {
        return {kBadRequest, "value is not hexadecimal"};
    }
    at->value = *value;
    text_element(out, "name", name);
    return {};
}

Outcome reset_filter(World& world, pugi::xml_node, std::string&) {
    for (FilterValue& filter : world.filters) {
        filter.value = filter.initial;
    }
    return {};
}

Outcome filter_off(World& world, pugi::xml_node, std::string&) {
    for (FilterValue& filter : world.filters) {
        filter.value = 0;
    }
    return {};
}

constexpr std::array kFilter = std::to_array<ActionRow>({
    {"list", list_filter},
    {"set", set_filter},
    {"reset", reset_filter},
    {"off", filter_off},
});

Outcome filter(World& world, pugi::xml_node command, std::string& out) {
    return carry_out_one(kFilter, world, command, out);
}

constexpr std::array kLogLevels = {"NOTHING", "ERROR", "WARNING",   "INFO",
                                   "DEBUG",   "DUMP",  "EVERYTHING"};

// Accepts a level in any letter case, with or without "LEVEL" before it.
Outcome change_logging_level(World& world, pugi::xml_node command, std::string& out) {
    const std::string wanted = text_inside(command, "options");
    constexpr size_t kPrefix = 5;
    const bool prefixed = strncasecmp(wanted.c_str(), "LEVEL", kPrefix) == 0;
    const char* word = wanted.c_str() + (prefixed ? kPrefix : 0);
    const auto* level = std::find_if(kLogLevels.begin(), kLogLevels.end(),
                                     [&](const char* one) { return strcasecmp(word, one) == 0; });
    if (level == kLogLevels.end()) {
        return {kBadRequest, "no such log level: " + wanted};
    }
    world.storageLogLevel = *level;
    text_element(out, "options", world.storageLogLevel);
    return {};
}

constexpr std::array kStorageCommands = std::to_array<CommandRow>({
    {"exclusion_control",
     "listVolumes all zrpexcluded zrpincluded removeVolume createVolume volumeName mountVolumes "
     "dismountVolumes get_volume_mount_point",
     exclusion_control},
    {"filter", "list set reset off parm name value", filter},
    {"change_logging_level", "options", change_logging_level},
});

} // namespace

std::span<const CommandRow> storage_commands() {
    return kStorageCommands;
}

} // namespace zrp::sim
