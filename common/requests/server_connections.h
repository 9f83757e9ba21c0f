// Connection slots of the main daemon, and who uses them.
#pragma once

#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"

namespace zrp {

struct ServerConnInfo {
    uint32_t versionTag;
    uint32_t connectionSlotsAvailable;
    uint32_t connectionSlotsInUse;
    uint32_t licensedConnectionCount;
    uint32_t peakLicenseCount;
    uint32_t notLoggedInCount;
    uint32_t signingLevel;
    uint32_t loginState; // 1 while users may log in, else 0
};

// The request document, malloc'ed. Null without memory.
char* BuildServerConnInfoRequest(uint32_t* length);

// Returns 0, or 22 for a null record, an empty reply (also a negative length) and when an element
// is missing; the record is then as it was.
int ScanServerConnInfoReply(char* reply, int replyLength, ServerConnInfo* record);

// Asks the default peer. Results and log lines as in operation.h.
int GetServerConnInfo(ServerConnInfo* record, ErrorText* errorText, const LogContext* log);

} // namespace zrp
