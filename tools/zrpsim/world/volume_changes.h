// Changes to volumes that management requests of several families make.
#pragma once

#include <string>

#include <pugixml.hpp>

#include "tools/zrpsim/world/handler.h"

namespace zrp::sim {

// Finds the volume that is named by the element with this tag inside the node. Refuses when the
// element is absent or empty, or when there is no such volume.
Outcome named_volume(World& world, pugi::xml_node node, const char* tag, Volume*& volume);

// Mount and dismount. Both return 0 or the failure code for the reply. Dismounting closes the
// volume's open files.
int mount_volume(World& world, Volume& volume);
int dismount_volume(World& world, Volume& volume);

// Mounts the volume of that name under the number; -1 keeps its number. Returns 0, or the failure
// code without changing anything. Invalidates pointers to volumes.
int mount_as(World& world, const std::string& name, int number);

// Returns whether a volume or a shadow is mounted at the path.
bool is_mount_point_taken(const World& world, const std::string& path);

// Reads a mask of 32 bits; an absent element leaves it unchanged. Returns false for anything but a
// number of 32 bits, with or without a sign.
bool read_bits(pugi::xml_node node, const char* tag, uint32_t& bits);

// The same for a mask of attributes. Other bits are ignored.
bool read_attributes(pugi::xml_node node, const char* tag, uint32_t& bits);

inline bool is_mounted(const Volume& volume) {
    return (volume.status & kMounted) != 0;
}

inline bool is_path(const std::string& text) {
    return text.size() > 1 && text.front() == '/';
}

} // namespace zrp::sim
