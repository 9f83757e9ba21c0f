// Ending connections, messages to them, and who may log in.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/station_list.h"
#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr size_t kKeptMessages = 16;
constexpr std::string_view kAllStations = "All";
constexpr std::string_view kThoseWithoutLogin = "NLI";

// The traffic of closed connections stays in the server's totals.
template <typename Choice>
size_t end_connections(World& world, Choice isMeant) {
    return std::erase_if(world.connections.change(), [&](const Connection& connection) {
        if (!isMeant(connection)) {
            return false;
        }
        add_traffic(world.closedTraffic, traffic_of(world, connection));
        return true;
    });
}

Outcome clear_stations(World& world, pugi::xml_node command, size_t& cleared) {
    std::set<int> stations;
    Outcome outcome = read_stations(command, "stationNumberTag", stations);
    if (outcome.code == 0 && stations.empty()) {
        outcome = {kBadRequest, "no station is named"};
    }
    if (outcome.code == 0) {
        outcome = check_stations(world, stations);
    }
    if (outcome.code != 0) {
        return outcome;
    }
    int count = 0;
    if (!optional_number(command, "stationNumberCount", static_cast<int>(stations.size()), count) ||
        static_cast<size_t>(count) != stations.size()) {
        return {kBadRequest, "stationNumberCount does not count the stations"};
    }
    cleared = end_connections(
        world, [&](const Connection& one) { return stations.contains(one.station); });
    return {};
}

Outcome clear_all_but(World& world, pugi::xml_node command, size_t& cleared) {
    std::set<int> spared;
    Outcome outcome = read_stations(command, "exceptionNumberTag", spared);
    if (outcome.code != 0) {
        return outcome;
    }
    cleared = end_connections(world,
                              [&](const Connection& one) { return !spared.contains(one.station); });
    return {};
}

Outcome clear_connection(World& world, pugi::xml_node command, std::string& out) {
    size_t cleared = 0;
    Outcome outcome;
    if (text_inside(command, "allStations") == kAllStations) {
        outcome = clear_all_but(world, command, cleared);
    } else if (text_inside(command, "stationNumberTag") == kThoseWithoutLogin) {
        cleared = end_connections(world, [](const Connection& one) { return !logged_in(one); });
    } else {
        outcome = clear_stations(world, command, cleared);
    }
    number_element(out, "stationNumberCount", cleared);
    return outcome;
}

// Without a list of stations the message goes to all connections.
Outcome broadcast(World& world, pugi::xml_node command, std::string& out) {
    std::set<int> stations;
    Outcome outcome = read_stations(command, "stationNumberTag", stations);
    if (outcome.code == 0) {
        outcome = check_stations(world, stations);
    }
    if (outcome.code != 0) {
        return outcome;
    }
    const std::string message = text_inside(command, "message");
    if (message.empty()) {
        return {kBadRequest, "message is empty"};
    }
    world.broadcasts.push_back(message);
    if (world.broadcasts.size() > kKeptMessages) {
        world.broadcasts.erase(world.broadcasts.begin());
    }
    number_element(out, "stationNumberCount",
                   stations.empty() ? world.connections->size() : stations.size());
    return {};
}

// A volume in the request becomes read-only with "YES" and writable otherwise.
Outcome change_access(World& world, pugi::xml_node command, std::string& out) {
    if (!find_inside(command, "volumeName")) {
        return {};
    }
    Volume* volume = nullptr;
    Outcome outcome = named_volume(world, command, "volumeName", volume);
    if (outcome.code != 0) {
        return outcome;
    }
    const bool readOnly = text_inside(command, "readOnly") == "YES";
    volume->status = readOnly ? volume->status | kReadOnly : volume->status & ~kReadOnly;
    text_element(out, "string", volume->name + (readOnly ? " is read only" : " can be written"));
    return {};
}

Outcome change_login(World& world, pugi::xml_node command, bool enabled, std::string& out) {
    if (!find_inside(command, enabled ? "enable" : "disable") &&
        !find_inside(command, "volumeName")) {
        return {kBadRequest, "neither a switch nor a volume"};
    }
    Outcome outcome = change_access(world, command, out);
    if (outcome.code != 0) {
        return outcome;
    }
    world.loginEnabled = enabled;
    world.loginMessage = text_inside(command, "message");
    text_element(out, "string", enabled ? "Login is enabled" : "Login is disabled");
    return {};
}

Outcome enable_login(World& world, pugi::xml_node command, std::string& out) {
    return change_login(world, command, true, out);
}

Outcome disable_login(World& world, pugi::xml_node command, std::string& out) {
    return change_login(world, command, false, out);
}

constexpr const char* kLoginElements = "enable disable volume volumeName readOnly message";

constexpr std::array kConnectionManagementCommands = std::to_array<CommandRow>({
    {"clearConnection", "stationNumberCount allStations exceptionNumberTag stationNumberTag",
     clear_connection},
    {"broadcastMessage", "stationList stationNumberTag message", broadcast},
    {"enableLogin", kLoginElements, enable_login},
    {"disableLogin", kLoginElements, disable_login},
});

} // namespace

std::span<const CommandRow> connection_management_commands() {
    return kConnectionManagementCommands;
}

} // namespace zrp::sim
