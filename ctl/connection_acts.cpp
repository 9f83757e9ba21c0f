// Ending connections, messages to them, and giving up their files and locks.
#include <algorithm>
#include <vector>

#include "common/requests/connection_management.h"
#include "common/requests/open_files.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/lookups.h"

namespace zrp::ctl {
namespace {

constexpr const char* kStation = "N";
constexpr const char* kAllConnections = "--all";
constexpr const char* kExcept = "--except";
constexpr const char* kNotLoggedInOption = "--not-logged-in";
constexpr const char* kToStation = "--to";

// Each number once.
std::vector<int32_t> stations_of(const Arguments& arguments, const char* name) {
    std::vector<int32_t> stations;
    for (const int32_t station : arguments.numbers(name)) {
        if (std::find(stations.begin(), stations.end(), station) == stations.end()) {
            stations.push_back(station);
        }
    }
    return stations;
}

std::string plural(int64_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

// " (50 connections)"; empty if the server does not say.
std::string count_note(const Session& session, const char* tag) {
    const std::optional<int64_t> count = connection_count(session, tag);
    return count ? " (" + plural(*count, "connection") + ")" : "";
}

Request clear_request(const Arguments& arguments, const std::vector<int32_t>& stations) {
    if (arguments.has(kAllConnections)) {
        return request([&](uint32_t* length) {
            return BuildClearAllConnectionsRequest(stations_of(arguments, kExcept), length);
        });
    }
    if (arguments.has(kNotLoggedInOption)) {
        return request(BuildClearNotLoggedInRequest);
    }
    return request([&](uint32_t* length) { return BuildClearConnectionRequest(stations, length); });
}

std::string clear_question(const Session& session, const Arguments& arguments,
                           const std::vector<int32_t>& stations) {
    if (arguments.has(kAllConnections)) {
        const size_t spared = stations_of(arguments, kExcept).size();
        return "Clear all connections" + (spared == 0 ? "" : " but " + std::to_string(spared)) +
               count_note(session, tag::connectionSlotsInUse);
    }
    if (arguments.has(kNotLoggedInOption)) {
        return "Clear the connections without a login" + count_note(session, tag::notLoggedInCount);
    }
    return stations.size() > 1
               ? "Clear " + plural(static_cast<int64_t>(stations.size()), "connection")
               : "Clear connection " + std::to_string(stations.front()) +
                     connection_note(session, stations.front());
}

// What --all and --not-logged-in name is never gone.
bool are_gone(const Session& session, const std::vector<int32_t>& stations) {
    return !stations.empty() &&
           std::none_of(stations.begin(), stations.end(),
                        [&](int32_t station) { return is_connected(session, station); });
}

constexpr Field kStationCount[] = {
    {tag::stationNumberCount, Field::kNumber, false},
};

Outcome clear(Session& session, const Arguments& arguments) {
    constexpr const char* kTargets[] = {kStation, kAllConnections, kNotLoggedInOption};
    need_one_of(arguments, kTargets);
    check_needs(arguments, kExcept, kAllConnections);
    const std::vector<int32_t> stations = stations_of(arguments, kStation);
    return carry_out(
        {kServer, tag::clearConnection, nullptr, kStationCount, "connections cleared"}, session,
        clear_request(arguments, stations),
        [&] { return clear_question(session, arguments, stations); },
        [&] { return are_gone(session, stations); });
}

Outcome broadcast(Session& session, const Arguments& arguments) {
    const std::string text = sendable(arguments, "TEXT");
    const std::vector<int32_t> stations = stations_of(arguments, kToStation);
    return carry_out({kServer, tag::broadcastMessage, nullptr, kStationCount, "message sent"},
                     session, request([&](uint32_t* length) {
                         return BuildBroadcastMessageRequest(text.c_str(), stations, length);
                     }),
                     [&] {
                         return stations.empty()
                                    ? "Send the message to everybody" +
                                          count_note(session, tag::connectionSlotsInUse)
                                    : "Send the message to " +
                                          plural(static_cast<int64_t>(stations.size()),
                                                 "connection");
                     });
}

constexpr Field kFileName[] = {{tag::fileName, Field::kText}};

Outcome close_file(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, "FILE");
    return carry_out(
        {kServer, tag::zrpRequests, tag::fileClose, kFileName, "file closed"}, session,
        request([&](uint32_t* length) { return BuildCloseFileRequest(name.c_str(), length); }),
        [&] { return "Close " + arguments.text("FILE") + " on every connection"; },
        [&] { return !is_open(session, arguments.text("FILE")); });
}

constexpr Field kUnlocked[] = {
    {tag::stationNumberTag, Field::kNumber, false},
};

Outcome unlock(Session& session, const Arguments& arguments) {
    const int32_t station = arguments.number(kStation);
    return carry_out(
        {kServer, tag::zrpRequests, tag::closeConnectionLocksTag, kUnlocked, "locks given up"},
        session, request([&](uint32_t* length) {
            return BuildCloseConnectionLocksRequest(station, length);
        }),
        [&] {
            return "Give up all locks of connection " + std::to_string(station) +
                   connection_note(session, station);
        });
}

constexpr const char* kConnectionActsGroup = "Change connections";

constexpr Argument kClearArguments[] = {
    {kStation, ArgumentKind::kStation, Count::kAny, "the number of a connection"},
    {kAllConnections, ArgumentKind::kFlag, Count::kOptional, "all connections"},
    {kExcept, ArgumentKind::kStation, Count::kAny, "with --all: but this one"},
    {kNotLoggedInOption, ArgumentKind::kFlag, Count::kOptional, "those without a login"},
};
constexpr Argument kBroadcastArguments[] = {
    {"TEXT", ArgumentKind::kText, Count::kOne, "the message"},
    {kToStation, ArgumentKind::kStation, Count::kAny, "to this connection instead of all"},
};
constexpr Argument kCloseArguments[] = {
    {"FILE", ArgumentKind::kPath, Count::kOne, "the file, named as \"files\" shows it"},
};
constexpr Argument kUnlockArguments[] = {
    {kStation, ArgumentKind::kStation, Count::kOne, "the number of the connection"},
};

constexpr Command kConnectionActs[] = {
    {"clear", kConnectionActsGroup, "End connections", Effect::kChanges, kClearArguments,
     "zrpctl clear 4 5", clear},
    {"broadcast", kConnectionActsGroup, "Send a message to connections", Effect::kChanges,
     kBroadcastArguments, "zrpctl broadcast \"Down at noon\" --to 4", broadcast},
    {"close", kConnectionActsGroup, "Close a file on every connection", Effect::kChanges,
     kCloseArguments, "zrpctl close DATA:reports/q1.ods", close_file},
    {"unlock", kConnectionActsGroup, "Give up all locks of a connection", Effect::kChanges,
     kUnlockArguments, "zrpctl unlock 4", unlock},
};

} // namespace

std::span<const Command> connection_act_commands() {
    return kConnectionActs;
}

} // namespace zrp::ctl
