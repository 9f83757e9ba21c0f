#include "tools/zrpsim/world/volume_changes.h"

#include <algorithm>

#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/whole_number.h"

namespace zrp::sim {
namespace {

void count_change(World& world, const Volume& volume, std::string_view request) {
    if ((volume.status & kBks) == 0) {
        return;
    }
    count_storage_event(world, request);
    count_storage_event(world, "Change volume state events");
}

} // namespace

Outcome named_volume(World& world, pugi::xml_node node, const char* tag, Volume*& volume) {
    const std::string name = text_inside(node, tag);
    if (name.empty()) {
        return {kBadRequest, std::string(tag) + " names no volume"};
    }
    volume = find_volume(world, name);
    if (volume == nullptr) {
        return {kNoSuchObject, "no such volume: " + name};
    }
    return {};
}

int mount_volume(World& world, Volume& volume) {
    if (is_mounted(volume)) {
        return kExists;
    }
    if (volume.excluded) {
        return kForbidden;
    }
    volume.status |= kOnline | kMounted;
    count_change(world, volume, "Mount volume requests");
    return 0;
}

int dismount_volume(World& world, Volume& volume) {
    if (!is_mounted(volume)) {
        return kNotMounted;
    }
    close_files_of(world, volume);
    volume.status &= ~(kOnline | kMounted);
    count_change(world, volume, "Dismount volume requests");
    return 0;
}

int mount_as(World& world, const std::string& name, int number) {
    Volume* volume = find_volume(world, name);
    if (volume == nullptr) {
        return kNoSuchObject;
    }
    if (is_mounted(*volume)) {
        return kExists;
    }
    if (volume->excluded) {
        return kForbidden;
    }
    if (number < -1 || number >= kMaxVolumes) {
        return kBadRequest;
    }
    if (number != -1 && number != volume->number) {
        if (find_volume(world, number) != nullptr) {
            return kExists;
        }
        volume->number = number;
        std::sort(world.volumes.begin(), world.volumes.end(),
                  [](const Volume& a, const Volume& b) { return a.number < b.number; });
    }
    return mount_volume(world, *find_volume(world, name));
}

bool is_mount_point_taken(const World& world, const std::string& path) {
    return std::any_of(world.volumes.begin(), world.volumes.end(), [&](const Volume& volume) {
        return volume.mountPoint == path || volume.shadow == path;
    });
}

bool read_bits(pugi::xml_node node, const char* tag, uint32_t& bits) {
    if (!find_inside(node, tag)) {
        return true;
    }
    const auto value = whole_number<int64_t>(text_inside(node, tag));
    if (!value || *value < INT32_MIN || *value > UINT32_MAX) {
        return false;
    }
    bits = static_cast<uint32_t>(*value);
    return true;
}

bool read_attributes(pugi::xml_node node, const char* tag, uint32_t& bits) {
    if (!find_inside(node, tag)) {
        return true;
    }
    uint32_t all = 0;
    if (!read_bits(node, tag, all)) {
        return false;
    }
    bits = all & kAttributeBits;
    return true;
}

} // namespace zrp::sim
