// Ending client connections and sending messages to them.
//
//  - Connections are named by their station numbers.
//  - A builder returns a malloc'ed document, or null with errno 12 without memory and 22 for an
//    argument that is refused: no stations where some are needed, or a message that is null or not
//    sendable (xml_writer.h).
//  - A reply says no more than that the server has obeyed. Its scanner returns 0, or 22 for an
//    empty reply and for one of another command.
//  - An operation returns 22 for an argument that its builder refuses, without an exchange; else
//    what run_operation returned, or the scanner's code.
#pragma once

#include <cstdint>
#include <span>

#include "../engine/operation.h"

namespace zrp {

using Stations = std::span<const int32_t>;

// Three requests with one reply: the connections of the stations, of which there must be some; all
// connections but those of the exceptions, which may be none; and those without a login.
char* BuildClearConnectionRequest(Stations stations, uint32_t* length);
char* BuildClearAllConnectionsRequest(Stations exceptions, uint32_t* length);
char* BuildClearNotLoggedInRequest(uint32_t* length);
int ScanClearConnectionReply(char* reply, int replyLength);

int ClearConnection(Stations stations, ErrorText* errorText, const LogContext* log);
int ClearAllConnections(Stations exceptions, ErrorText* errorText, const LogContext* log);
int ClearNotLoggedInConnections(ErrorText* errorText, const LogContext* log);

// A message to the stations. Without stations the request names none, which means all connections;
// the operation that names stations refuses that, so that a list that happens to be empty does not
// reach everybody.
char* BuildBroadcastMessageRequest(const char* message, Stations stations, uint32_t* length);
int ScanBroadcastMessageReply(char* reply, int replyLength);

int BroadcastMessage(const char* message, ErrorText* errorText, const LogContext* log);
int BroadcastMessageToStations(const char* message, Stations stations, ErrorText* errorText,
                               const LogContext* log);

} // namespace zrp
