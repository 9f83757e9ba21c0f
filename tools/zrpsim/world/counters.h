// The internal counters of the two daemons, by the names that the daemons send.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

struct CounterRow {
    const char* name;
    uint32_t base;                              // at the start
    uint32_t perMinute;                         // how fast it grows
    uint64_t (*linked)(const World&) = nullptr; // counts something in the world, or null
};

std::span<const CounterRow> server_counters();
std::span<const CounterRow> storage_counters();

// Values wrap at 32 bits, as in the daemons.
int32_t counter_value(const World& world, const CounterRow& row, int64_t offset);

// Restarts every counter at 0.
void reset_counters(const World& world, std::span<const CounterRow> rows,
                    std::vector<int64_t>& offsets);

// Counts an event that a request caused. The name must be in the table.
void count_server_event(World& world, std::string_view name);
void count_storage_event(World& world, std::string_view name);

} // namespace zrp::sim
