// Client connections: listing, looking at, ending, sending messages.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "../requests/connection_management.h"
#include "../requests/connections.h"
#include "detail.h"

namespace zrp::client {

struct Connection {
    int32_t station = 0;
    uint32_t requests = 0;
    uint64_t bytesRead = 0;
    uint64_t bytesWritten = 0;
    std::string name; // "NOT LOGGED IN" without a login
    std::string loginTime;
    std::string licensed; // words of the server, as the two below
    std::string encrypted;
    std::string mfa;
};

struct ConnectionDetails {
    Connection connection;
    uint64_t loginTime = 0; // seconds since 1970
    std::string networkAddress;
    uint32_t status = 0; // bits
    uint32_t privileges = 0;
    int32_t authenticationMethod = 0;
    int32_t type = 0;
    std::vector<std::string> openFiles;
    std::vector<std::string> securityEquals;
};

namespace detail {

inline constexpr List kConnections = {tag::listConnections, tag::connectionTag};

inline Connection CopyConnection(const ConnectionEntry& from) {
    return {from.stationNumber, from.zrpRequests,   from.bytesRead, from.bytesWritten, from.name,
            from.loginTime,     from.licensedState, from.encrypted, from.mfa};
}

inline std::vector<std::string> CopyNames(const NameList& list) {
    std::vector<std::string> names;
    const char* at = list.names;
    for (uint32_t i = 0; i < list.count; i++) {
        names.emplace_back(at);
        at += names.back().size() + 1;
    }
    return names;
}

inline ConnectionDetails CopyConnection(const ConnectionInformation& from) {
    return {CopyConnection(from.entry),
            from.loginEpoch,
            from.networkAddress,
            from.status,
            from.privileges,
            from.authenticationMethod,
            from.connectionType,
            CopyNames(from.openFiles),
            CopyNames(from.securityEquals)};
}

} // namespace detail

// All connections in the order of their stations, as their pages arrive: a failure may follow the
// first ones.
template <typename Callback>
Answer<> ForEachConnection(Callback callback) {
    int32_t last = 0;
    int onPage = 0;
    return detail::WalkPages<ConnectionEntry>(
        detail::kConnections,
        [&](int index, uint32_t* length) {
            onPage = 0;
            return BuildListConnectionsRequest(index, kConnectionsOfAPage, length);
        },
        ScanListConnectionsReply,
        [&](const ConnectionEntry& entry) {
            last = entry.stationNumber;
            onPage++;
            return detail::GoesOn(callback, detail::CopyConnection(entry));
        },
        [&](const Reply& reply, int* index) {
            const int32_t next = NextConnectionIndex(reply.text.get(), reply.length, onPage, last);
            *index = next == kNoNextConnection ? detail::kLastPage : next;
            return int{kOk};
        });
}

inline Answer<std::vector<Connection>> ListConnections() {
    return detail::Collect<Connection>([](auto visit) { return ForEachConnection(visit); });
}

inline Answer<ConnectionDetails> GetConnection(int32_t station) {
    return detail::Ask<ConnectionDetails>(
        detail::Request(BuildConnectionInformationRequest, station, kConnectionInformationVersion),
        [](char* reply, int length, ConnectionDetails* details) {
            ConnectionInformationPtr record;
            const int rc = ScanConnectionInformationReply(reply, length, &record);
            if (rc == kOk) {
                *details = detail::CopyConnection(*record);
            }
            return rc;
        });
}

// How many slots for connections there are, and who uses them.
inline Answer<ServerConnInfo> GetConnectionSlots() {
    return detail::RunForRecord<ServerConnInfo>(GetServerConnInfo);
}

// Ends the connections of the stations, of which there must be some.
inline Answer<> ClearConnections(std::span<const int32_t> stations) {
    return detail::Run(ClearConnection, stations);
}

inline Answer<> ClearAllConnections(std::span<const int32_t> exceptions = {}) {
    return detail::Run(zrp::ClearAllConnections, exceptions);
}

inline Answer<> ClearNotLoggedInConnections() {
    return detail::Run(zrp::ClearNotLoggedInConnections);
}

// A message to all connections, or to the stations, of which there must be some.
inline Answer<> Broadcast(std::string_view message) {
    return detail::Run(BroadcastMessage, detail::Text(message));
}

inline Answer<> BroadcastTo(std::span<const int32_t> stations, std::string_view message) {
    return detail::Run(BroadcastMessageToStations, detail::Text(message), stations);
}

} // namespace zrp::client
