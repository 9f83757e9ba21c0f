// What management requests of every family do to volumes.
#pragma once

#include <string>

#include <pugixml.hpp>

#include "tools/zrpsim/world/handler.h"

namespace zrp::sim {

// Finds the volume that the element of that name inside the node names. Refuses when the element is
// absent or empty, or when there is no such volume.
Outcome named_volume(World& world, pugi::xml_node node, const char* tag, Volume*& volume);

// Mounts and dismounts. Return 0 or the failure code that replies carry. A volume that is
// dismounted loses its open files.
int mount_volume(World& world, Volume& volume);
int dismount_volume(World& world, Volume& volume);

// Mounts the volume of that name under a number. -1 keeps its own number. Returns 0 or the failure
// code; then nothing has changed. Pointers to volumes do not survive it.
int mount_as(World& world, const std::string& name, int number);

// Whether a volume or a shadow is mounted there.
bool is_mount_point_taken(const World& world, const std::string& path);

// Reads a mask of 32 bits; an absent element leaves it alone. Returns false for what is no number
// of 32 bits, with or without a sign.
bool read_bits(pugi::xml_node node, const char* tag, uint32_t& bits);

// The same for a mask of attributes. Bits that are no attributes are left out.
bool read_attributes(pugi::xml_node node, const char* tag, uint32_t& bits);

inline bool is_mounted(const Volume& volume) {
    return (volume.status & kMounted) != 0;
}

inline bool is_path(const std::string& text) {
    return text.size() > 1 && text.front() == '/';
}

} // namespace zrp::sim
