// Shadow volumes. A volume has at most one: a mount point, and a named configuration, which stays
// after the mount point is removed until it is removed itself.
#include <algorithm>
#include <array>
#include <cstring>

#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

Outcome create_shadow(World& world, pugi::xml_node group, Volume& volume, std::string& out) {
    const std::string path = text_inside(group, "path");
    uint32_t attributes = 0;
    if (!is_path(path)) {
        return {kBadRequest, "path is not an absolute path"};
    }
    if (!volume.shadow.empty()) {
        return {kExists, "volume has a shadow: " + volume.name};
    }
    if (is_mount_point_taken(world, path)) {
        return {kExists, "mount point is in use: " + path};
    }
    if (!read_attributes(group, "attributes", attributes)) {
        return {kBadRequest, "attributes is not a number"};
    }
    volume.shadow = path;
    volume.shadowName = volume.name + "_S";
    volume.status |= attributes;
    text_element(out, "volumeName", volume.name);
    return {};
}

Outcome remove_shadow(World&, pugi::xml_node, Volume& volume, std::string& out) {
    if (volume.shadow.empty()) {
        return {kNoSuchObject, "volume has no shadow: " + volume.name};
    }
    volume.shadow.clear();
    text_element(out, "volumeName", volume.name);
    text_element(out, "shadowVolName", volume.shadowName);
    return {};
}

Outcome remove_configuration(World&, pugi::xml_node group, Volume& volume, std::string& out) {
    const std::string name = text_inside(group, "shadowVolName");
    if (volume.shadowName.empty() || name != volume.shadowName) {
        return {kNoSuchObject, "no such shadow volume: " + name};
    }
    volume.shadow.clear();
    volume.shadowName.clear();
    text_element(out, "volumeName", volume.name);
    return {};
}

struct ShadowRow {
    const char* name;
    Outcome (*carryOut)(World& world, pugi::xml_node group, Volume& volume, std::string& out);
};

constexpr std::array kActions = std::to_array<ShadowRow>({
    {"createVolume", create_shadow},
    {"removeVolume", remove_shadow},
    {"removeConf", remove_configuration},
});

// A mount point in the request must be that of the volume or of its shadow.
bool is_its_mount_point(const Volume& volume, const std::string& mountPoint) {
    return mountPoint.empty() || mountPoint == volume.mountPoint || mountPoint == volume.shadow;
}

Outcome shadow(World& world, pugi::xml_node command, std::string& out) {
    const pugi::xml_node group = command.first_child();
    const auto* row = std::find_if(kActions.begin(), kActions.end(), [&](const ShadowRow& one) {
        return std::strcmp(one.name, group.name()) == 0;
    });
    if (row == kActions.end() || group.next_sibling()) {
        return {kBadRequest, "shadow needs one of createVolume, removeVolume and removeConf"};
    }
    Volume* volume = nullptr;
    Outcome outcome = named_volume(world, group, "volumeName", volume);
    if (outcome.code != 0) {
        return outcome;
    }
    const std::string mountPoint = text_inside(group, "mountPoint");
    if (!is_its_mount_point(*volume, mountPoint)) {
        return {kNoSuchObject, "not a mount point of " + volume->name + ": " + mountPoint};
    }
    open_element(out, row->name);
    outcome = row->carryOut(world, group, *volume, out);
    close_element(out, row->name);
    return outcome;
}

constexpr std::array kShadowCommands = std::to_array<CommandRow>({
    {"shadow",
     "createVolume removeVolume removeConf volumeName path mountPoint attributes shadowVolName",
     shadow},
});

} // namespace

std::span<const CommandRow> shadow_commands() {
    return kShadowCommands;
}

} // namespace zrp::sim
