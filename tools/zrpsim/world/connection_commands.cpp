// The list of connections, and the information about one.
#include <algorithm>
#include <array>
#include <ctime>

#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr int kConnectionsOfAPage = 100;
constexpr int kOnlyVersion = 1;

// Bits of a connection's status.
constexpr uint32_t kLoggedIn = 0x1;
constexpr uint32_t kPacketsSigned = 0x20;
constexpr uint32_t kEncrypted = 0x200;

constexpr uint32_t kSupervisorEquivalent = 0x2;

int64_t login_epoch(const World& world, const Connection& connection) {
    if (!logged_in(connection)) {
        return 0;
    }
    return world.bootEpoch + std::min(connection.loginMs, world.upTimeMs) / 1000;
}

std::string login_time(const World& world, const Connection& connection) {
    if (!logged_in(connection)) {
        return "-";
    }
    const std::time_t epoch = login_epoch(world, connection);
    std::tm parts{};
    gmtime_r(&epoch, &parts);
    std::array<char, 64> text{};
    const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return {text.data(), length};
}

uint32_t status_bits(const Connection& connection) {
    if (!logged_in(connection)) {
        return 0;
    }
    return kLoggedIn | (connection.station % 2 == 0 ? kPacketsSigned : 0) |
           (connection.encrypted ? kEncrypted : 0);
}

// The elements that the list and the information about one connection share.
void append_common(const World& world, const Connection& connection, std::string& out) {
    const Traffic traffic = traffic_of(world, connection);
    number_element(out, "stationNumberTag", connection.station);
    number_element(out, "zrpRequests", traffic.requests);
    number_element(out, "bytesRead", traffic.bytesRead);
    number_element(out, "bytesWritten", traffic.bytesWritten);
    text_element(out, "name", connection.name);
    text_element(out, "loginTime", login_time(world, connection));
    text_element(out, "licensedState", logged_in(connection) ? "Yes" : "No");
    text_element(out, "encrypted", connection.encrypted ? "Yes" : "No");
    text_element(out, "mfa", connection.mfa ? "Enabled" : "Disabled");
}

Outcome list_connections(World& world, pugi::xml_node command, std::string& out) {
    Page page{};
    Outcome outcome = read_page(command, kConnectionsOfAPage, page);
    if (outcome.code != 0) {
        return outcome;
    }
    auto at = connections_from(world, page.startIndex);
    std::string entries;
    for (int i = 0; i < page.maxItems && at != world.connections->end(); ++i, ++at) {
        open_element(entries, "connectionTag");
        append_common(world, *at, entries);
        close_element(entries, "connectionTag");
    }
    if (at != world.connections->end()) {
        number_element(out, "startIndex", at->station);
    }
    out += entries;
    return {};
}

void append_lists(const Connection& connection, std::string& out) {
    open_element(out, "openFiles");
    number_element(out, "openFilesCount", connection.files.size());
    for (const OpenFile& file : connection.files) {
        text_element(out, "name", file.name);
    }
    close_element(out, "openFiles");
    open_element(out, "securityEquals");
    number_element(out, "secEqualsCount", connection.equivalences.size());
    for (const std::string& name : connection.equivalences) {
        text_element(out, "name", name);
    }
    close_element(out, "securityEquals");
}

Outcome connection_information(World& world, pugi::xml_node command, std::string& out) {
    if (number_inside(command, "versionTag") != kOnlyVersion) {
        return {kBadRequest, "versionTag is not 1"};
    }
    const std::optional<int> station = number_inside(command, "stationNumberTag");
    if (!station) {
        return {kBadRequest, "stationNumberTag is not a number"};
    }
    const Connection* connection = find_connection(world, *station);
    if (connection == nullptr) {
        return {kNoSuchObject, "no such connection: " + std::to_string(*station)};
    }
    open_element(out, "connectionTag");
    number_element(out, "versionTag", kOnlyVersion);
    append_common(world, *connection, out);
    number_element(out, "loginEpoch", login_epoch(world, *connection));
    text_element(out, "networkAddress", connection->address);
    hex_element(out, "status", status_bits(*connection));
    hex_element(out, "privileges", connection->station == 1 ? kSupervisorEquivalent : 0);
    number_element(out, "authenticationMethod", logged_in(*connection) ? 1 : 0);
    number_element(out, "connectionType", 2);
    append_lists(*connection, out);
    close_element(out, "connectionTag");
    return {};
}

constexpr std::array kConnectionCommands = std::to_array<CommandRow>({
    {"listConnections", "startIndex maxItems", list_connections},
    {"connectionInformationTag", "connectionTag versionTag stationNumberTag",
     connection_information},
});

} // namespace

std::span<const CommandRow> connection_commands() {
    return kConnectionCommands;
}

} // namespace zrp::sim
