// Creating, changing, mounting and removing volumes.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/population.h"
#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr size_t kLongestNewName = 15;

Outcome check_new_name(World& world, const std::string& name) {
    if (name.empty()) {
        return {kBadRequest, "a volume needs a name"};
    }
    if (name.size() > kLongestNewName) {
        return {kVolumeNameTooLong, "volume name is longer than 15 characters: " + name};
    }
    const bool plain = std::none_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == ':' || c == '/' ||
               c == '\\';
    });
    if (!plain) {
        return {kBadRequest, "volume name with a character that cannot be in it"};
    }
    if (find_volume(world, name) != nullptr) {
        return {kExists, "volume exists: " + name};
    }
    return {};
}

Outcome check_new_mount_point(const World& world, const std::string& mountPoint) {
    if (!is_path(mountPoint)) {
        return {kBadRequest, "mountPoint is not an absolute path"};
    }
    if (is_mount_point_taken(world, mountPoint)) {
        return {kExists, "mount point is in use: " + mountPoint};
    }
    return {};
}

// -1 means the first free number.
Outcome choose_number(World& world, int& number) {
    if (world.volumes.size() >= kMaxVolumes) {
        return {kNoSpace, "no room for another volume"};
    }
    if (number == -1) {
        while (find_volume(world, ++number) != nullptr) {
        }
    }
    if (number < 0 || number >= kMaxVolumes) {
        return {kBadRequest, "volumeNumber is not one of 0 to 255"};
    }
    if (find_volume(world, number) != nullptr) {
        return {kExists, "volume number is in use: " + std::to_string(number)};
    }
    return {};
}

void add_volume(World& world, Volume volume) {
    const auto at = std::lower_bound(world.volumes.begin(), world.volumes.end(), volume.number,
                                     [](const Volume& v, int number) { return v.number < number; });
    world.volumes.insert(at, std::move(volume));
}

// A new volume is mounted at once.
Outcome create_volume(World& world, pugi::xml_node command, std::string& out) {
    const std::string name = text_inside(command, "volumeName");
    Outcome outcome = check_new_name(world, name);
    if (outcome.code != 0) {
        return outcome;
    }
    const std::string mountPoint = text_inside(command, "mountPoint");
    outcome = check_new_mount_point(world, mountPoint);
    if (outcome.code != 0) {
        return outcome;
    }
    int number = -1;
    uint32_t attributes = 0;
    if (!optional_number(command, "volumeNumber", -1, number) ||
        !read_attributes(command, "attributes", attributes)) {
        return {kBadRequest, "attributes or volumeNumber is not a number"};
    }
    outcome = choose_number(world, number);
    if (outcome.code != 0) {
        return outcome;
    }
    Volume volume = make_volume(world, number, name);
    volume.mountPoint = mountPoint;
    volume.status |= attributes;
    add_volume(world, std::move(volume));
    text_element(out, "volumeName", name);
    return {};
}

// The system volume cannot be removed.
Outcome remove_volume(World& world, pugi::xml_node command, std::string& out) {
    Volume* volume = nullptr;
    Outcome outcome = named_volume(world, command, "volumeName", volume);
    if (outcome.code != 0) {
        return outcome;
    }
    if (volume->number == 0) {
        return {kForbidden, "volume cannot be removed: " + volume->name};
    }
    close_files_of(world, *volume);
    text_element(out, "volumeName", volume->name);
    world.volumes.erase(world.volumes.begin() + (volume - world.volumes.data()));
    return {};
}

Outcome modify_volume(World& world, pugi::xml_node command, std::string& out) {
    Volume* volume = nullptr;
    Outcome outcome = named_volume(world, command, "volumeName", volume);
    if (outcome.code != 0) {
        return outcome;
    }
    if (!command.child("grant") && !command.child("revoke")) {
        return {kBadRequest, "neither grant nor revoke"};
    }
    uint32_t grant = 0;
    uint32_t revoke = 0;
    if (!read_attributes(command, "grant", grant) || !read_attributes(command, "revoke", revoke)) {
        return {kBadRequest, "grant or revoke is not a number"};
    }
    volume->status = (volume->status | grant) & ~revoke;
    text_element(out, "volumeName", volume->name);
    number_element(out, "grant", volume->status & kAttributeBits);
    return {};
}

using Change = int (*)(World& world, Volume& volume);

// Lists the volumes that it changed.
void change_all(World& world, Change change, std::string& out) {
    for (Volume& volume : world.volumes) {
        if (change(world, volume) != 0) {
            continue;
        }
        open_element(out, "volume");
        text_element(out, "name", volume.name);
        close_element(out, "volume");
    }
}

Outcome mount_all(World& world, pugi::xml_node, std::string& out) {
    change_all(world, mount_volume, out);
    return {};
}

Outcome dismount_all(World& world, pugi::xml_node, std::string& out) {
    change_all(world, dismount_volume, out);
    return {};
}

// Mounts the volumes that can be mounted; the reply has a code for each volume.
Outcome mount_volumes(World& world, pugi::xml_node command, std::string& out) {
    if (!command.child("volume")) {
        return {kBadRequest, "no volume is named"};
    }
    for (const pugi::xml_node wanted : command.children("volume")) {
        const std::string name = text_inside(wanted, "name");
        int number = -1;
        if (!optional_number(wanted, "volumeNumber", -1, number)) {
            return {kBadRequest, "volumeNumber is not a number"};
        }
        const int code = mount_as(world, name, number);
        const Volume* volume = find_volume(world, name);
        open_element(out, "volume");
        text_element(out, "name", name);
        hex_element(out, "status", volume != nullptr ? volume->status : 0);
        number_element(out, "mountFailureCode", code);
        close_element(out, "volume");
    }
    return {};
}

Outcome dismount_volumes(World& world, pugi::xml_node command, std::string& out) {
    if (!command.child("volume")) {
        return {kBadRequest, "no volume is named"};
    }
    for (const pugi::xml_node wanted : command.children("volume")) {
        const std::string name = text_inside(wanted, "name");
        Volume* volume = find_volume(world, name);
        const int code = volume != nullptr ? dismount_volume(world, *volume) : int{kNoSuchObject};
        open_element(out, "volume");
        text_element(out, "name", name);
        number_element(out, "dismountFailureCode", code);
        close_element(out, "volume");
    }
    return {};
}

Outcome purge_volume(World& world, pugi::xml_node command, std::string& out) {
    Volume* volume = nullptr;
    Outcome outcome = named_volume(world, command, "volumeName", volume);
    if (outcome.code != 0) {
        return outcome;
    }
    if (!is_mounted(*volume)) {
        return {kNotMounted, "volume is not mounted: " + volume->name};
    }
    volume->purged = true;
    count_server_event(world, "Purge volume events");
    if ((volume->status & kBks) != 0) {
        count_storage_event(world, "Purge volume requests");
    }
    text_element(out, "volumeName", volume->name);
    return {};
}

Outcome flush_volumes(World& world, pugi::xml_node, std::string& out) {
    number_element(out, "volumeCount", count_mounted(world));
    return {};
}

// Without flags, only reports those in force.
Outcome control_tree(World& world, pugi::xml_node command, std::string& out) {
    if (!number_inside(command, "versionTag")) {
        return {kBadRequest, "versionTag is not a number"};
    }
    Volume* volume = nullptr;
    Outcome outcome = named_volume(world, command, "volumeName", volume);
    if (outcome.code != 0) {
        return outcome;
    }
    if (!read_bits(command, "controlFlags", volume->treeFlags)) {
        return {kBadRequest, "controlFlags is not a number"};
    }
    text_element(out, "volumeName", volume->name);
    number_element(out, "controlFlags", volume->treeFlags);
    return {};
}

constexpr std::array kVolumeManagementCommands = std::to_array<CommandRow>({
    {"createVolume", "volumeName mountPoint attributes volumeNumber", create_volume},
    {"removeVolume", "volumeName options", remove_volume},
    {"modifyVolume", "volumeName grant revoke", modify_volume},
    {"mountAll", "", mount_all},
    {"dismountAll", "", dismount_all},
    {"mountVolumes", "volume name volumeNumber", mount_volumes},
    {"dismountVolumes", "volume name", dismount_volumes},
    {"purgeVolume", "volumeName", purge_volume},
    {"flushVolumes", "", flush_volumes},
    {"VTCRequest", "versionTag volumeName controlFlags", control_tree},
});

} // namespace

std::span<const CommandRow> volume_management_commands() {
    return kVolumeManagementCommands;
}

} // namespace zrp::sim
