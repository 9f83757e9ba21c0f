#include <array>

#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/population.h"

namespace zrp::sim {
namespace {

struct ParameterRow {
    const char* name;
    const char* value;
    ParameterKind kind;
};

// A monitor hides seven of these; as in the server's list, they are among the others.
constexpr std::array kParameters = std::to_array<ParameterRow>({
    {"ZRP_FILE_SERVER_NAME", "HLX1", ParameterKind::kFixed},
    {"MAX_FILE_DESCRIPTOR_NUMBER", "65536", ParameterKind::kNumber},
    {"MAXIMUM_CACHED_FILES_PER_VOLUME", "256000", ParameterKind::kNumber},
    {"MAXIMUM_CACHED_SUBDIRECTORIES_PER_VOLUME", "100000", ParameterKind::kNumber},
    {"MAXIMUM_CACHED_FILES_PER_SUBDIRECTORY", "10240", ParameterKind::kNumber},
    {"MAXIMUM_LAZY_CLOSE_FILES", "4096", ParameterKind::kNumber},
    {"FIRST_WATCHDOG_PACKET", "0", ParameterKind::kNumber},
    {"ADDITIONAL_SSG_THREADS", "25", ParameterKind::kNumber},
    {"ASYNC_DIRECTORY_THREADS", "50", ParameterKind::kNumber},
    {"KEEP_CONNECTION_TIMEOUT", "900", ParameterKind::kNumber},
    {"ALLOW_UTF8", "1", ParameterKind::kSwitch},
    {"ALLOW_CIFS_MIXED_MODE_PATHS", "0", ParameterKind::kSwitch},
    {"ENABLE_ZRP_RANGE_CHECKING", "1", ParameterKind::kSwitch},
    {"ALLOW_CLEAR_TEXT_BINDERY_PASSWORDS", "0", ParameterKind::kSwitch},
    {"COMMIT_FILE", "1", ParameterKind::kSwitch},
    {"CROSS_PROTOCOL_LOCKS", "1", ParameterKind::kSwitch},
    {"KEEP_OPEN_WARNINGS", "0", ParameterKind::kSwitch},
    {"LOCAL_CODE_PAGE", "CP437", ParameterKind::kText},
    {"LOG_CACHE_STATISTICS", "0", ParameterKind::kSwitch},
    {"LOG_LEVEL", "WARNING", ParameterKind::kText},
    {"SHADOW_VOLUME", "1", ParameterKind::kSwitch},
    {"OPLOCK_SUPPORT_LEVEL", "2", ParameterKind::kNumber},
    {"SIGNATURE_LEVEL", "1", ParameterKind::kNumber},
    {"SENDFILE_SUPPORT", "1", ParameterKind::kSwitch},
    {"VOLUME_MOUNT_TIMEOUT", "60", ParameterKind::kNumber},
    {"KERNEL_OPLOCKS", "0", ParameterKind::kSwitch},
    {"AUDITING_SUPPORT", "0", ParameterKind::kSwitch},
    {"SERVER_CONTACT", "Help desk, room 2.14", ParameterKind::kText},
});

const std::array kSettings = std::to_array<Setting>({
    {"zrpServerName", "HLX1", false},
    {"zrpServerProductVersion", "11.4.0", false},
    {"zrpServerFileServerVersion", "9.63", false},
    {"zrpServerVersion", "5.70", false},
    {"zrpAllowUncryptedPasswords", "0", true},
    {"zrpMixedModePath", "0", true},
    {"zrpOSLanguageID", "4", true},
    {"zrpBoundaryCheck", "1", true},
    {"zrpFileCommit", "1", true},
    {"zrpLocalLoginInfo", "0", true},
    {"signingLevel", "1", true},
    {"maximumConnectionSlots", "32767", false},
});

constexpr std::array kFilters = std::to_array<std::pair<const char*, uint32_t>>({
    {"events", 0xFF},
    {"volumes", 0x1F},
    {"trustees", 0x3},
    {"quotas", 0x7},
    {"deletedFiles", 0x1},
    {"objects", 0x70000001},
});

} // namespace

void make_settings(World& world) {
    for (const ParameterRow& row : kParameters) {
        world.parameters.push_back({row.name, row.value, row.kind});
    }
    world.settings.assign(kSettings.begin(), kSettings.end());
    for (const auto& [name, value] : kFilters) {
        world.filters.push_back({name, value, value});
    }
    world.serverOffsets.assign(server_counters().size(), 0);
    world.storageOffsets.assign(storage_counters().size(), 0);
}

} // namespace zrp::sim
