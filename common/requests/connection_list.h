// The main daemon's connections, a page at a time.
#pragma once

#include <cstdint>

#include "../engine/query.h"
#include "../engine/reply_fields.h"

namespace zrp {

// One connection. Texts are cut to their arrays.
struct ConnectionEntry {
    int32_t stationNumber;
    uint32_t zrpRequests;
    uint64_t bytesRead;
    uint64_t bytesWritten;
    char name[514];
    char loginTime[128];
    char licensedState[5];
    char encrypted[5];
    char mfa[12];
};

// The elements that make an entry, in the order of the record.
inline constexpr size_t kConnectionEntryFieldCount = 9;
extern const ReplyField kConnectionEntryFields[kConnectionEntryFieldCount];

// The request document, malloc'ed: up to maxItems connections from station startIndex on. A 0 of
// either leaves it to the server. Null without memory.
char* BuildListConnectionsRequest(int startIndex, int maxItems, uint32_t* length);

// The next connection of a reply. *offset is 0 before the first call and is moved behind the
// element. Returns 0, 22 when any element is missing or no connection is left, 34 when the offset
// is at the end.
int ScanListConnectionsReply(char* reply, int replyLength, int* offset, ConnectionEntry* entry);

// Asks the main daemon for up to maxItems connections from a station on and reads them into the
// entries, *count of them; the first that cannot be read ends the list. Returns 0, 12 without
// memory, the transport's code or the server's error; *count is then 0.
int QueryConnections(int startIndex, int maxItems, ConnectionEntry* entries, int* count);

} // namespace zrp
