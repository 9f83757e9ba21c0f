// What one collection learned from the three daemons. A part that is empty was not answered: its
// metrics are left out.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/client.h"

namespace zrp::exporter {

enum DaemonIndex : uint8_t { kServer, kStorage, kManagement, kDaemons };

// The label `daemon`.
inline constexpr std::array<const char*, kDaemons> kDaemonNames = {"server", "storage",
                                                                   "management"};

struct VolumeFacts {
    client::Volume listed;
    std::optional<client::VolumeDetails> details; // of a mounted volume that answered
};

struct ThreadFigure {
    const char* element;
    double value;
};

struct Facts {
    std::array<bool, kDaemons> up{};
    std::optional<std::vector<client::Statistic>> statistics;
    std::optional<ServerConnInfo> slots;
    std::array<std::optional<std::string>, kDaemons> versions;
    std::optional<std::vector<VolumeFacts>> volumes;
    bool volumesAnswered = false; // false when a volume's information was cut off
    std::array<std::optional<std::vector<client::Counter>>, 2> counters; // server, storage
    std::optional<std::vector<ThreadFigure>> threads;
    std::optional<std::vector<client::Connection>> connections;
    uint64_t connectionsPassedOver = 0; // beyond those that may have metrics
};

} // namespace zrp::exporter
