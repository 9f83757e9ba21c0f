#include "tools/zrpsim/world/counters.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "tools/zrpsim/world/volume_figures.h"

namespace zrp::sim {
namespace {

uint64_t open_linux_files(const World& world) {
    return world.connections.counts().openFiles + 37;
}

uint64_t normal_opens(const World& world) {
    return sum_volume_figure(world, "dcNormalOpenCount");
}

uint64_t lazy_opens(const World& world) {
    return sum_volume_figure(world, "dcLazyOpenCount");
}

uint64_t lazy_closes(const World& world) {
    return sum_volume_figure(world, "dcLazyCloseCount");
}

uint64_t background_closes(const World& world) {
    return sum_volume_figure(world, "dcBackgroundCloseCount");
}

uint64_t without_login(const World& world) {
    return world.connections.counts().withoutLogin;
}

uint64_t bindings(const World& world) {
    return world.bindings.size() + 1;
}

constexpr std::array kServerCounters = std::to_array<CounterRow>({
    {"CMgr preallocated count", 64, 0},
    {"ipcListener requests", 18211, 61},
    {"ipcListener pool count", 16, 0},
    {"ipcListener memory request", 9107, 31},
    {"ipcListener ENOMEM", 0, 0},
    {"ipcListener errors", 2, 0},
    {"ipcClient rpcs", 4410, 13},
    {"ipcClient errors", 1, 0},
    {"No Console rights count", 3, 0},
    {"Not logged in count", 0, 0, without_login},
    {"Bad request count", 5, 0},
    {"Boundary check failed count", 0, 0},
    {"No malloc space count", 0, 0},
    {"Bad parameter count", 8, 0},
    {"Unencrypted password tried count", 1, 0},
    {"Fatal I/O error count", 0, 0},
    {"Verb not supported count", 27, 1},
    {"Virtual server addresses count", 0, 0, bindings},
    {"Bad rpc request number count", 0, 0},
    {"console rpc request count", 7802, 60},
    {"bks rpc request count", 2933, 19},
    {"Add Event count", 1204, 7},
    {"Event failed", 2, 0},
    {"Add trustee events", 311, 2},
    {"Delete trustee events", 127, 1},
    {"Scan Deleted files events", 88, 1},
    {"Purge Deleted file events", 41, 1},
    {"Salvage Deleted file events", 6, 0},
    {"Set Inherited Rights mask events", 19, 0},
    {"Security sync events", 96, 1},
    {"Purge volume events", 2, 0},
    {"Scan volume user restrictions events", 52, 1},
    {"Add volume user restrictions events", 17, 0},
    {"Get volume user restrictions events", 640, 4},
    {"Delete user restrictions events", 4, 0},
    {"Set Directory quota requests", 33, 0},
    {"Return Directory quota requests", 410, 3},
    {"BKS events received", 2210, 11},
    {"BKS unknown event", 0, 0},
    {"BKS event failed", 3, 0},
    {"BKS Add trustee events", 205, 1},
    {"BKS Delete trustee events", 71, 1},
    {"BKS Set Inherited rights events", 12, 0},
    {"ReplyKeepBufferFilledOut", 14, 1},
    {"ReplyLargeBufferFilledOut", 960, 9},
    {"ReplyDisgard", 4, 0},
    {"ReplyKeepNoFragments", 31020, 240},
    {"openFiles", 0, 0,
     [](const World& world) -> uint64_t { return world.connections.counts().openFiles; }},
    {"openLinuxFiles", 0, 0, open_linux_files},
    {"normalOpenCount", 0, 0, normal_opens},
    {"lazyOpenCount", 0, 0, lazy_opens},
    {"lazyCloseCount", 0, 0, lazy_closes},
    {"backgroundCloseCount", 0, 0, background_closes},
});

// Compatibility: "ipcListener memory request " ends in a blank.
constexpr std::array kStorageCounters = std::to_array<CounterRow>({
    {"Request", 15110, 44},
    {"Null message requests", 1, 0},
    {"failed requests", 9, 0},
    {"ipcListener requests", 15120, 44},
    {"ipcListener pool count", 8, 0},
    {"ipcListener memory request ", 7560, 22},
    {"ipcListener ENOMEM", 0, 0},
    {"ipcListener errors", 1, 0},
    {"ipcClient rpcs", 2933, 19},
    {"ipcClient errors", 0, 0},
    {"KVQ events received", 41873, 130},
    {"KVQ unknown type", 3, 0},
    {"KVQ events failed", 2, 0},
    {"KVQ partials", 17, 1},
    {"Events processed", 41850, 130},
    {"Events queued", 21, 0},
    {"Add Trustee events", 205, 1},
    {"Remove Trustee events", 71, 1},
    {"Set Inherited right events", 12, 0},
    {"Change volume state events", 46, 0},
    {"manage.cmd calls", 530, 3},
    {"files.cmd calls", 1480, 8},
    {"linux.cmd calls", 96, 1},
    {"Get quota requests", 610, 4},
    {"Set quota requests", 50, 0},
    {"Remove user quota requests", 4, 0},
    {"Scan volume user quota requests", 52, 1},
    {"Scan deleted files requests", 88, 1},
    {"Purge deleted files requests", 41, 1},
    {"Salvage deleted files requests", 6, 0},
    {"Remove trustees requests", 127, 1},
    {"Add trustees requests", 311, 2},
    {"Scan trustees requests", 2044, 14},
    {"SetInheritedRightsMask requests", 19, 0},
    {"List volumes requests", 275, 2},
    {"Get volume info requests", 4120, 29},
    {"Get pool info requests", 388, 3},
    {"Dismount volume requests", 11, 0},
    {"Mount volume requests", 38, 0},
    {"Get mount point info requests", 402, 3},
    {"Purge volume requests", 2, 0},
});

void count_event(std::span<const CounterRow> rows, std::vector<int64_t>& offsets,
                 std::string_view name) {
    auto at = std::find_if(rows.begin(), rows.end(),
                           [&](const CounterRow& row) { return name == row.name; });
    if (at == rows.end()) {
        throw std::logic_error("no counter " + std::string(name));
    }
    ++offsets.at(static_cast<size_t>(at - rows.begin()));
}

} // namespace

std::span<const CounterRow> server_counters() {
    return kServerCounters;
}

std::span<const CounterRow> storage_counters() {
    return kStorageCounters;
}

int32_t counter_value(const World& world, const CounterRow& row, int64_t offset) {
    const uint64_t value =
        row.linked != nullptr ? row.linked(world) : grown(world, row.base, row.perMinute);
    return static_cast<int32_t>(static_cast<int64_t>(value) + offset);
}

void reset_counters(const World& world, std::span<const CounterRow> rows,
                    std::vector<int64_t>& offsets) {
    for (size_t i = 0; i < rows.size(); i++) {
        offsets.at(i) -= counter_value(world, rows[i], offsets.at(i));
    }
}

void count_server_event(World& world, std::string_view name) {
    count_event(kServerCounters, world.serverOffsets, name);
}

void count_storage_event(World& world, std::string_view name) {
    count_event(kStorageCounters, world.storageOffsets, name);
}

} // namespace zrp::sim
