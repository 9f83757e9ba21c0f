#include "tools/zrpsim/world/population.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/zrpsim/world/counters.h"

namespace zrp::sim {
namespace {

enum Stream : uint64_t {
    kVolumeSize = 1,
    kVolumeStatus,
    kConnectionUser,
    kConnectionRate,
    kConnectionLogin,
    kConnectionState,
    kFileChoice,
};

// The first is the system volume. One name has 16 bytes, the longest that a request may hold.
constexpr std::array kVolumeNames = {
    "SYS",      "DATA",     "HOME",     "PROJECTS", "ENGINEERING_2026", "MAIL",
    "ARCHIVE",  "SCRATCH",  "FINANCE",  "LEGAL",    "MÜNCHEN",          "MEDIA",
    "BACKUP",   "SOFTWARE", "TRAINING", "RESEARCH", "ZÜRICH",           "SALES",
    "STAGING",  "PUBLIC",   "IMAGES",   "DATABASE", "TEMPLATES",        "東京",
    "PERSONAL", "PRINT",    "EXCHANGE", "LAB",      "ÅRSRAPPORT",       "OLD_HOMES",
};

constexpr std::array kUsers = {
    "admin",  "abauer",  "bhansen", "cfischer", "dlopez",  "emartin", "fnowak", "gøresund",
    "hmeier", "isantos", "jschulz", "kpetrov",  "lrossi",  "mdubois", "nkumar", "oandersson",
    "pwhite", "qnguyen", "rtanaka", "swagner",  "tmüller", "uklein",  "vsilva", "wjones",
};

constexpr std::array kContexts = {"users.hq.acme", "staff.lab.acme", "sales.emea.acme"};

constexpr std::array kFiles = {
    "reports/q1.ods",     "reports/q2.ods",   "mail/inbox.db",    "src/build.log",
    "design/floor.dwg",   "db/orders.dat",    "db/orders.idx",    "notes/minutes.txt",
    "plans/übersicht.md", "media/intro.webm", "home/desktop.ini", "archive/2025.tar",
};

// Volumes that the storage daemon excludes from the file service.
bool is_excluded_at_start(int number) {
    return number % 9 == 7;
}

// Some others are not mounted.
bool is_dismounted_at_start(int number) {
    return is_excluded_at_start(number) || number % 13 == 12;
}

std::string volume_name(int number) {
    if (static_cast<size_t>(number) < kVolumeNames.size()) {
        return kVolumeNames.at(static_cast<size_t>(number));
    }
    return "VOL" + std::to_string(number);
}

void open_files(World& world, Connection& connection, uint64_t draw) {
    const uint64_t count = draw % 5;
    for (uint64_t i = 0; i < count; i++) {
        const uint64_t pick = scatter(world.seed, kFileChoice + i, draw);
        const Volume& volume = world.volumes[pick % world.volumes.size()];
        if ((volume.status & kMounted) == 0) {
            continue;
        }
        const std::string path = kFiles.at((pick >> 8U) % kFiles.size());
        connection.files.push_back({.volumeNumber = volume.number,
                                    .name = volume.name + ":" + path,
                                    .handle = static_cast<uint32_t>(pick >> 32U),
                                    .rights = (pick >> 20U) % 3 == 0 ? 0x1BU : 0x1U,
                                    .task = static_cast<int>((pick >> 16U) % 8) + 1,
                                    .locked = (pick >> 24U) % 2 == 0});
    }
}

std::string user_name(uint64_t draw) {
    const char* user = kUsers.at(draw % kUsers.size());
    const char* context = kContexts.at((draw >> 8U) % kContexts.size());
    return std::string(user) + "." + context;
}

std::string address_of(int station) {
    return "10.1." + std::to_string(station / 250 % 250) + "." + std::to_string(station % 250 + 1);
}

} // namespace

Volume make_volume(const World& world, int number, std::string name) {
    const uint64_t draw = scatter(world.seed, kVolumeSize, static_cast<uint64_t>(number));
    Volume volume{};
    volume.number = number;
    volume.status = kOnline | kMounted | kSalvageable;
    volume.sectorSize = 512;
    volume.sectorPerCluster = 8;
    volume.clusters = (16 + draw % 2000) * 262144 / 4 + draw % 100000;
    volume.mountPoint = "/usr/zrp/volumes/" + name;
    volume.name = std::move(name);
    return volume;
}

void make_volumes(World& world, int count) {
    constexpr std::array<uint32_t, 6> kExtras = {
        0, kCompression, kUserQuotas, kReadOnly, kUserQuotas | kDirectoryQuotas, kHidden};
    for (int number = 0; number < std::min(count, kMaxVolumes); number++) {
        const uint64_t draw = scatter(world.seed, kVolumeStatus, static_cast<uint64_t>(number));
        Volume volume = make_volume(world, number, volume_name(number));
        if (number != 0) {
            volume.status |= kExtras.at(draw % kExtras.size());
        }
        if (number % 3 != 0) {
            volume.status |= kBks;
            volume.mountPoint = "/media/bks/" + volume.name;
        }
        volume.excluded = is_excluded_at_start(number);
        if (is_dismounted_at_start(number)) {
            volume.status &= ~(kOnline | kMounted);
        }
        if (number % 8 == 3) {
            volume.shadowName = volume.name + "_S";
            volume.shadow = "/media/shadow/" + volume.name;
        }
        world.volumes.push_back(std::move(volume));
    }
}

void make_connections(World& world, int count) {
    std::vector<Connection>& connections = world.connections.change();
    for (int station = 1; station <= count; station++) {
        const auto index = static_cast<uint64_t>(station);
        const uint64_t state = scatter(world.seed, kConnectionState, index);
        const uint64_t rate = scatter(world.seed, kConnectionRate, index);
        Connection connection{};
        connection.station = station;
        connection.address = address_of(station);
        connection.loginMs =
            static_cast<int64_t>(scatter(world.seed, kConnectionLogin, index) % 14400000);
        // About every tenth station is not logged in.
        if (station % 10 == 6 || state % 17 == 3) {
            connection.name = kNotLoggedIn;
        } else {
            connection.name = user_name(scatter(world.seed, kConnectionUser, index));
            connection.readPerSecond = static_cast<uint32_t>(rate % 40000 + 200);
            connection.writtenPerSecond = static_cast<uint32_t>((rate >> 32U) % 12000 + 50);
            connection.encrypted = state % 3 != 0;
            connection.mfa = state % 7 == 0;
            connection.equivalences = {"everyone.groups.acme"};
            if (state % 4 == 0) {
                connection.equivalences.emplace_back("operators.groups.acme");
            }
            if (!world.volumes.empty()) {
                open_files(world, connection, state >> 5U);
            }
        }
        connections.push_back(std::move(connection));
    }
    world.peakConnections = connections.size() + 3;
    world.closedTraffic = {8123456789, 3210987654, 7654321};
}

void connect_clients(World& world, int count, std::string_view user) {
    std::vector<Connection>& connections = world.connections.change();
    for (int i = 0; i < count; i++) {
        Connection connection{};
        connection.station = connections.empty() ? 1 : connections.back().station + 1;
        connection.address = address_of(connection.station);
        connection.name = user.empty() ? kNotLoggedIn : user;
        connection.loginMs = world.upTimeMs;
        connections.push_back(std::move(connection));
    }
    world.peakConnections = std::max(world.peakConnections, connections.size());
}

} // namespace zrp::sim
