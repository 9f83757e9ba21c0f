// The versions of the three components, one on each socket.
#include <array>

#include "tools/zrpsim/world/handler.h"

namespace zrp::sim {
namespace {

Outcome server_version(World&, pugi::xml_node, std::string& out) {
    out += "2026-03-30_14:21:09_x86_64build118-.4096";
    return {};
}

Outcome storage_version(World&, pugi::xml_node, std::string& out) {
    out += "2026-03-30_14:24:51_x86_64build118-.2048";
    return {};
}

Outcome management_version(World&, pugi::xml_node, std::string& out) {
    out += "2026-02-17_08:55:40_x86_64build97-.1024";
    return {};
}

constexpr std::array kServer = std::to_array<CommandRow>({{"versionTag", "", server_version}});
constexpr std::array kStorage = std::to_array<CommandRow>({{"versionTag", "", storage_version}});
constexpr std::array kManagement =
    std::to_array<CommandRow>({{"versionTag", "", management_version}});

} // namespace

std::span<const CommandRow> server_version_commands() {
    return kServer;
}

std::span<const CommandRow> storage_version_commands() {
    return kStorage;
}

std::span<const CommandRow> management_version_commands() {
    return kManagement;
}

} // namespace zrp::sim
