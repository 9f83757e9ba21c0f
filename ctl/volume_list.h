// The list of volumes, for commands that look one up.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/session.h"

namespace zrp::ctl {

struct VolumeEntry {
    std::string name;
    int64_t number = 0;
    uint32_t status = 0; // bits with the words of status_words (fields.h)
};

// All pages. Throws a Failure.
std::vector<VolumeEntry> list_volumes(const Session& session);

// Null if there is none; the server does not tell case apart.
const VolumeEntry* find_volume(const std::vector<VolumeEntry>& volumes, std::string_view name);

bool is_mounted(const VolumeEntry& volume);

// Whether the server has a volume of that name and it is mounted. Throws a Failure.
bool is_volume_mounted(const Session& session, std::string_view name);

} // namespace zrp::ctl
