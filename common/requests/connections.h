// Client connections of the main daemon: its slots, the list of connections, and all that it says
// of one.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <memory>
#include <span>

#include "../log/log_context.h"
#include "../request_hooks.h"
#include "../xml_reader.h"

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

// Up to maxItems connections from station startIndex on. A 0 of either leaves it to the server.
char* BuildListConnectionsRequest(int startIndex, int maxItems, uint32_t* length);

// The next connection of a reply. *offset is 0 before the first call and is moved past the element.
// Returns kOk; kInvalid when any element is missing or no connection is left; kRange when the
// offset is at the end.
int ScanListConnectionsReply(char* reply, int replyLength, int* offset, ConnectionEntry* entry);

// Asks the main daemon for connections from a station on, as many as there are entries, and reads
// them, *count of them. Returns kOk, kInvalid without entries and for a list that was cut or holds
// a connection that is malformed (*count is then the number of those before it), kNoMemory, the
// transport's code or the server's error.
int QueryConnections(int startIndex, std::span<ConnectionEntry> entries, int* count);

// The same for the Connection screen: the first connection that cannot be read ends the list, and a
// list that was cut is no failure. (Either shows in the daemon's state, exchange_state.h.)
int QueryConnectionPage(int startIndex, std::span<ConnectionEntry> entries, int* count);

// Called for each connection. Returns 0 to go on, anything else to stop.
using ConnectionCallback = int (*)(void* context, const ConnectionEntry& entry);

// Passes each connection, in the order of the stations, to the callback as its page arrives: a
// failure may follow the first ones. Asks the default peer; hooks may be null. Returns kOk after
// the last connection, kNoMemory, the transport's code, the server's error, kInvalid for a page
// that was cut or holds a connection that is malformed, what the callback returned to stop, or
// kRange for a list without an end. Of a page that was cut no connection is given.
int GetConnections(ConnectionCallback callback, const RequestHooks* hooks, void* context);

inline constexpr int kConnectionsOfAPage = 100; // as many as walks ask for
inline constexpr int32_t kNoNextConnection = -1;

// Where the page after one of kConnectionsOfAPage begins, or kNoNextConnection: the index that the
// reply names or, since not every server names one, after the last station of a full page.
int32_t NextConnectionIndex(char* reply, int replyLength, int entryCount, int32_t lastStation);

inline constexpr int kConnectionInformationVersion = 1;

inline constexpr int kRequestNotBuilt = -1;

// The names that a list of the reply holds. They are as long in all as the reply gives them.
struct NameList {
    char* names;    // NUL-terminated, one after the other; null when there are none
    uint32_t count; // of names; the reply's own figure may differ
};

struct ConnectionInformation {
    ConnectionEntry entry; // what lists of connections also say
    uint64_t loginEpoch;   // seconds since 1970
    char networkAddress[128];
    uint32_t status; // bit set
    uint32_t privileges;
    int32_t authenticationMethod;
    int32_t connectionType;
    uint32_t openFilesCount;
    uint32_t securityEqualsCount;
    NameList openFiles;
    NameList securityEquals;
};

// Frees a record with its lists.
struct FreeConnectionInformation {
    void operator()(ConnectionInformation* record) const;
};
using ConnectionInformationPtr = std::unique_ptr<ConnectionInformation, FreeConnectionInformation>;

char* BuildConnectionInformationRequest(int station, int versionTag, uint32_t* length);

// Reads a reply into a new record. The elements may be anywhere inside its `connectionTag`; of the
// names, the one outside both lists is the connection's. Returns kOk, kInvalid when any element but
// the lists themselves is missing, kNoMemory.
int ScanConnectionInformationReply(char* reply, int replyLength, ConnectionInformationPtr* record);

// Asks the default peer. *versionTag is the layout to ask for and becomes that of the reply, when
// it names one. Request and reply go to traceHooks (request_hooks.h). An error that the server
// reports shows as a missing element. Returns kOk, kRequestNotBuilt, the transport's code, or the
// scanner's.
int GetConnectionInformation(int station, int* versionTag, ConnectionInformationPtr* record);

// Connection slots, and who uses them.
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

char* BuildServerConnInfoRequest(uint32_t* length);

// Returns kOk, or kInvalid when an element is missing.
int ScanServerConnInfoReply(char* reply, int replyLength, ServerConnInfo* record);

int GetServerConnInfo(ServerConnInfo* record, ErrorText* errorText, const LogContext* log);

} // namespace zrp
