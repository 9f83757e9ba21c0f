// The state of the three simulated daemons. They share one world, so that their figures agree: what
// one reply counts, another lists.
//
// Figures that move are pure functions of the seed and the up time: with a pinned World::upTimeMs,
// the same request always gets the same text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zrpsim/world/connections.h"

namespace zrp::sim {

inline constexpr int kMaxVolumes = 256;
inline constexpr int kDefaultVolumes = 30;
inline constexpr int kDefaultConnections = 50;
inline constexpr size_t kConnectionSlots = 32767;
inline constexpr int64_t kPinnedBoot = 1776816000; // 2026-04-22 00:00:00 UTC

// Bits of a volume's status.
enum StatusBit : uint32_t {
    kOnline = 0x1,
    kMounted = 0x2,
    kReadOnly = 0x10000,
    kUserQuotas = 0x80000,
    kDirectoryQuotas = 0x100000,
    kSalvageable = 0x200000,
    kClusterResource = 0x800000,
    kCompression = 0x2000000,
    kHidden = 0x80000000,
    kBks = 0x40000000,
};

// The bits that a management request may grant or revoke: the words of a status line that describe
// what a volume is, not what it is doing.
inline constexpr uint32_t kAttributeBits = 0xAFB92000;

struct Volume {
    int number;
    std::string name;
    uint32_t status;
    uint64_t sectorSize;
    uint64_t sectorPerCluster;
    uint64_t clusters;
    std::string mountPoint;
    std::string shadow;     // mount point of the shadow volume, empty without one
    std::string shadowName; // name of the shadow volume
    bool excluded;          // from the file service, by the storage daemon
    bool purged;            // nothing is left to purge
    uint32_t treeFlags;     // of the volume tree control
    int percentUsed = -1;   // fixed by a control command; -1: as its figures say
};

enum class ParameterKind { kText, kNumber, kSwitch, kFixed };

struct Parameter {
    std::string name;
    std::string value;
    ParameterKind kind;
};

struct Setting { // of the server's configuration
    std::string name;
    std::string value;
    bool writable;
};

struct FilterValue { // of the storage daemon's event filter
    std::string name;
    uint32_t value;
    uint32_t initial;
};

struct ClusterBinding {
    std::string server;
    std::string address;
};

struct World {
    uint64_t seed = 1;
    int64_t bootEpoch = kPinnedBoot; // seconds since 1970
    int64_t upTimeMs = 0;

    std::vector<Volume> volumes; // by number
    Connections connections;
    Traffic closedTraffic{}; // of closed connections
    size_t peakConnections = 0;
    std::vector<Parameter> parameters;
    std::vector<Setting> settings;
    std::vector<FilterValue> filters;
    std::vector<ClusterBinding> bindings;
    std::vector<int64_t> serverOffsets;  // added to each counter of the main daemon
    std::vector<int64_t> storageOffsets; // and of the storage daemon
    bool loginEnabled = true;
    std::string loginMessage;
    std::string storageLogLevel = "WARNING";
    std::vector<std::string> broadcasts; // the last few messages
};

struct WorldSize {
    int volumes = kDefaultVolumes;
    int connections = kDefaultConnections;
};

// Creates a world. The same seed and size always create the same world.
World make_world(uint64_t seed, WorldSize size);

// A number that depends only on its arguments and looks random.
uint64_t scatter(uint64_t seed, uint64_t stream, uint64_t index);

// base plus perMinute for every minute of up time.
uint64_t grown(const World& world, uint64_t base, uint64_t perMinute);

// Moves up and down between 0 and swing, once every periodSeconds, shifted by phase.
uint64_t wave(const World& world, uint64_t swing, uint64_t periodSeconds, uint64_t phase);

// Each returns null when there is none.
Volume* find_volume(World& world, std::string_view name);
Volume* find_volume(World& world, int number);
const Connection* find_connection(const World& world, int station);

// The first connection with this station number or a higher one.
std::vector<Connection>::const_iterator connections_from(const World& world, int station);

Traffic traffic_of(const World& world, const Connection& connection);
Traffic total_traffic(const World& world);
size_t count_mounted(const World& world);

// The connections that have a file open on the volume.
size_t count_users(const World& world, const Volume& volume);

// Closes every open file of the volume.
void close_files_of(World& world, const Volume& volume);

} // namespace zrp::sim
