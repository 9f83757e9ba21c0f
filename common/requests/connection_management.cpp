#include "common/requests/connection_management.h"

#include <cstring>
#include <utility>

#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr const char* kAllStations = "All";
constexpr const char* kNotLoggedIn = "NLI";

// More than one station's element takes.
constexpr size_t kStationRoom = 56;

constexpr RequestField kClearRequest[] = {{tag::stationNumberTag, RequestField::kText}};
constexpr Command kClear = {tag::clearConnection, nullptr, kClearRequest};
constexpr Command kBroadcast = {tag::broadcastMessage};

void write_stations(XmlDocument& document, const char* tag, Stations stations) {
    for (const int32_t station : stations) {
        WriteIntElement(document, tag, station);
    }
}

char* finish_clear(XmlDocument& document, uint32_t* length) {
    WriteTrailer(document, tag::clearConnection, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

XmlDocument start_clear(Stations stations) {
    XmlDocument document = StartDocument(request_room(0, 0) + stations.size() * kStationRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::clearConnection);
    return document;
}

} // namespace

char* BuildClearConnectionRequest(Stations stations, uint32_t* length) {
    if (stations.empty()) {
        return refuse_request();
    }
    XmlDocument document = start_clear(stations);
    WriteIntElement(document, tag::stationNumberCount, static_cast<int32_t>(stations.size()));
    write_stations(document, tag::stationNumberTag, stations);
    return finish_clear(document, length);
}

char* BuildClearAllConnectionsRequest(Stations exceptions, uint32_t* length) {
    XmlDocument document = start_clear(exceptions);
    WriteTextElement(document, tag::allStations, kAllStations);
    write_stations(document, tag::exceptionNumberTag, exceptions);
    return finish_clear(document, length);
}

char* BuildClearNotLoggedInRequest(uint32_t* length) {
    return build_command(kClear, {kNotLoggedIn}, length);
}

int ScanClearConnectionReply(char* reply, int replyLength) {
    return scan_command(kClear, reply, replyLength);
}

int ClearConnection(Stations stations, ErrorText* errorText, const LogContext* log) {
    uint32_t length = 0;
    HeapText request(BuildClearConnectionRequest(stations, &length));
    return run_document(kClear, std::move(request), length, {errorText, log});
}

int ClearAllConnections(Stations exceptions, ErrorText* errorText, const LogContext* log) {
    uint32_t length = 0;
    HeapText request(BuildClearAllConnectionsRequest(exceptions, &length));
    return run_document(kClear, std::move(request), length, {errorText, log});
}

int ClearNotLoggedInConnections(ErrorText* errorText, const LogContext* log) {
    return run_command(kClear, {kNotLoggedIn}, {errorText, log});
}

char* BuildBroadcastMessageRequest(const char* message, Stations stations, uint32_t* length) {
    if (message == nullptr) {
        return refuse_request();
    }
    XmlDocument document =
        StartDocument(request_room(1, strlen(message)) + stations.size() * kStationRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::broadcastMessage);
    if (!stations.empty()) {
        WriteOpenGroup(document, tag::stationList);
        write_stations(document, tag::stationNumberTag, stations);
        WriteCloseGroup(document, tag::stationList);
    }
    WriteTextElement(document, tag::message, message);
    WriteTrailer(document, tag::broadcastMessage, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanBroadcastMessageReply(char* reply, int replyLength) {
    return scan_command(kBroadcast, reply, replyLength);
}

int BroadcastMessage(const char* message, ErrorText* errorText, const LogContext* log) {
    uint32_t length = 0;
    HeapText request(BuildBroadcastMessageRequest(message, {}, &length));
    return run_document(kBroadcast, std::move(request), length, {errorText, log});
}

int BroadcastMessageToStations(const char* message, Stations stations, ErrorText* errorText,
                               const LogContext* log) {
    const Caller caller(errorText, log);
    if (stations.empty()) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildBroadcastMessageRequest(message, stations, &length));
    return run_document(kBroadcast, std::move(request), length, caller);
}

} // namespace zrp
