// Configuration of the server, its threads, connection slots and cluster resources.
#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

Outcome change_setting(World& world, const std::string& name, const std::string& value) {
    const auto at = std::find_if(world.settings.begin(), world.settings.end(),
                                 [&](const Setting& one) { return one.name == name; });
    if (at == world.settings.end()) {
        return {kNoSuchObject, "no such setting: " + name};
    }
    if (!at->writable) {
        return {kForbidden, name + " cannot be set"};
    }
    if (value.empty() || value.size() > 9 ||
        value.find_first_not_of("0123456789") != std::string::npos) {
        return {kBadRequest, name + " takes a number"};
    }
    at->value = value;
    return {};
}

// Changes a setting when the request has a name and a text; the reply always has all settings.
Outcome server_config(World& world, pugi::xml_node command, std::string& out) {
    const std::optional<int> version = number_inside(command, "versionTag");
    if (!version) {
        return {kBadRequest, "versionTag is not a number"};
    }
    if (static_cast<bool>(command.child("name")) != static_cast<bool>(command.child("set"))) {
        return {kBadRequest, "name and set belong together"};
    }
    if (command.child("name")) {
        Outcome outcome =
            change_setting(world, text_inside(command, "name"), text_inside(command, "set"));
        if (outcome.code != 0) {
            return outcome;
        }
    }
    number_element(out, "versionTag", *version);
    for (const Setting& setting : world.settings) {
        text_element(out, setting.name, setting.value);
    }
    return {};
}

struct ThreadRow {
    const char* name;
    uint64_t least;
    uint64_t swing;
    bool load; // a fraction, sent with two decimals
};

constexpr std::array kThreads = std::to_array<ThreadRow>({
    {"currAsynceDirThreads", 4, 12, false},
    {"maxAsynceDirThreads", 50, 0, false},
    {"peakAsynceDirThreads", 31, 0, false},
    {"currQueuedeDirRequests", 0, 5, false},
    {"peakQueuedeDirRequests", 18, 0, false},
    {"activeSSGThreads", 6, 9, false},
    {"addlSSGThreads", 25, 0, false},
    {"totalZRPStreams", 40, 30, false},
    {"averageSSGThreadLoad", 35, 240, true},
    {"peakSSGThreads", 23, 0, false},
    {"peakZRPStreams", 96, 0, false},
    {"peakAverageSSGThreadLoad", 412, 0, true},
});

Outcome threads(World& world, pugi::xml_node, std::string& out) {
    for (size_t i = 0; i < kThreads.size(); i++) {
        const ThreadRow& row = kThreads.at(i);
        const uint64_t value = row.least + wave(world, row.swing, 31 + 4 * i, i * 5000);
        std::array<char, 32> text{};
        if (row.load) {
            std::snprintf(text.data(), text.size(), "%llu.%02llu",
                          static_cast<unsigned long long>(value / 100),
                          static_cast<unsigned long long>(value % 100));
        } else {
            std::snprintf(text.data(), text.size(), "%llu", static_cast<unsigned long long>(value));
        }
        text_element(out, row.name, text.data());
    }
    return {};
}

std::string setting_value(const World& world, std::string_view name) {
    const auto at = std::find_if(world.settings.begin(), world.settings.end(),
                                 [&](const Setting& one) { return one.name == name; });
    return at == world.settings.end() ? "0" : at->value;
}

Outcome connection_info(World& world, pugi::xml_node, std::string& out) {
    const size_t used = world.connections->size();
    const size_t without = world.connections.counts().withoutLogin;
    number_element(out, "versionTag", 1);
    number_element(out, "connectionSlotsAvailable",
                   kConnectionSlots - std::min(used, kConnectionSlots));
    number_element(out, "connectionSlotsInUse", used);
    number_element(out, "licensedConnectionCount", used - without);
    number_element(out, "peakLicenseCount", world.peakConnections);
    number_element(out, "notLoggedInCount", without);
    text_element(out, "signingLevel", setting_value(world, "signingLevel"));
    number_element(out, "loginState", world.loginEnabled ? 1 : 0);
    return {};
}

// Binds an address to a virtual server, or unbinds it when the flag is 0.
Outcome bind_address(World& world, pugi::xml_node command, std::string& out) {
    const ClusterBinding wanted{text_inside(command, "zrpServerName"),
                                text_inside(command, "networkAddress")};
    const std::optional<int> flag = number_inside(command, "bindFlag");
    if (wanted.server.empty() || wanted.address.empty() || !flag) {
        return {kBadRequest, "a binding needs a server, an address and a flag"};
    }
    const auto same = [&](const ClusterBinding& one) { return one.address == wanted.address; };
    const size_t removed = std::erase_if(world.bindings, [&](const ClusterBinding& one) {
        return *flag == 0 && same(one) && one.server == wanted.server;
    });
    if (*flag == 0 && removed == 0) {
        return {kNoSuchObject, "address is not bound: " + wanted.address};
    }
    if (*flag != 0 && std::any_of(world.bindings.begin(), world.bindings.end(), same)) {
        return {kExists, "address is bound: " + wanted.address};
    }
    if (*flag != 0) {
        world.bindings.push_back(wanted);
    }
    text_element(out, "zrpServerName", wanted.server);
    text_element(out, "networkAddress", wanted.address);
    return {};
}

// Mounts a volume of a cluster resource on this server.
int mount_resource(World& world, pugi::xml_node wanted, const std::string& name) {
    int number = -1;
    const std::string mountPoint = text_inside(wanted, "mountPoint");
    const std::string shadow = text_inside(wanted, "shadow");
    if (!optional_number(wanted, "volumeNumber", -1, number)) {
        return kBadRequest;
    }
    if ((!mountPoint.empty() && !is_path(mountPoint)) || (!shadow.empty() && !is_path(shadow))) {
        return kBadRequest;
    }
    const int code = mount_as(world, name, number);
    if (code != 0) {
        return code;
    }
    Volume* volume = find_volume(world, name);
    volume->status |= kClusterResource;
    if (!mountPoint.empty()) {
        volume->mountPoint = mountPoint;
    }
    if (!shadow.empty()) {
        volume->shadow = shadow;
    }
    constexpr std::string_view kShadowName = "SHADOWVOLUME=";
    const std::string options = text_inside(wanted, "options");
    if (options.starts_with(kShadowName)) {
        volume->shadowName = options.substr(kShadowName.size());
    }
    return 0;
}

Outcome cluster_resource(World& world, pugi::xml_node command, std::string& out) {
    if (!command.child("volume")) {
        return bind_address(world, command, out);
    }
    for (const pugi::xml_node wanted : command.children("volume")) {
        const std::string name = text_inside(wanted, "volumeName");
        const int code = mount_resource(world, wanted, name);
        const Volume* volume = find_volume(world, name);
        open_element(out, "volume");
        text_element(out, "volumeName", name);
        number_element(out, "volumeNumber", volume != nullptr ? volume->number : -1);
        number_element(out, "mountFailureCode", code);
        close_element(out, "volume");
    }
    return {};
}

Outcome virtual_servers(World& world, pugi::xml_node, std::string& out) {
    number_element(out, "totalVirtualServers", world.bindings.size());
    open_element(out, "virtualservers");
    for (const ClusterBinding& binding : world.bindings) {
        open_element(out, "server");
        text_element(out, "name", binding.server);
        text_element(out, "IP", binding.address);
        close_element(out, "server");
    }
    close_element(out, "virtualservers");
    return {};
}

constexpr std::array kServerManagementCommands = std::to_array<CommandRow>({
    {"serverConfig", "versionTag name set", server_config},
    {"threads", "", threads},
    {"serverConnInfo", "", connection_info},
    {"clusterResource",
     "zrpServerName networkAddress bindFlag volume volumeName volumeNumber shadow mountPoint "
     "options",
     cluster_resource},
    {"listvirtualservers", "", virtual_servers},
});

} // namespace

std::span<const CommandRow> server_management_commands() {
    return kServerManagementCommands;
}

} // namespace zrp::sim
