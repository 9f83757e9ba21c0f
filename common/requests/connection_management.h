// Ending client connections and sending messages to them.
//
//  - Connections are named by their station numbers.
//  - A builder also refuses an empty list of stations where some are needed.
//  - A reply says no more than that the server obeyed. Its scanner returns kOk, or kInvalid for a
//    reply to another command.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <span>

#include "../log/log_context.h"
#include "../xml_reader.h"

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

// A message to the stations. A request without stations goes to all connections; the operation that
// names stations refuses that, so that a list that happens to be empty does not reach everybody.
char* BuildBroadcastMessageRequest(const char* message, Stations stations, uint32_t* length);
int ScanBroadcastMessageReply(char* reply, int replyLength);

int BroadcastMessage(const char* message, ErrorText* errorText, const LogContext* log);
int BroadcastMessageToStations(const char* message, Stations stations, ErrorText* errorText,
                               const LogContext* log);

} // namespace zrp
