// Server statistics: the main daemon's counters, as a list of named values and as one record.
#pragma once
#include "../cplusplus.h"

#include <cstdint>

#include "../log/log_context.h"
#include "../request_hooks.h"
#include "../xml_reader.h"

namespace zrp {

inline constexpr int kServerStatisticsVersion = 1;

// Called for each statistic with the content of its `parm` element: a view into the reply, not
// NUL-terminated, valid during the call; GetNameValueParm (xml_reader.h) takes it apart. Returns 0
// to go on, anything else to stop.
using StatisticsCallback = int (*)(void* context, char* element, int elementLength);

char* BuildServerStatisticsRequest(int version, uint32_t* length);

// The next statistic of a reply: the content of a `parm` element (null and 0 when it is empty).
// *offset is 0 before the first call and is moved past the element. Returns kOk; kInvalid when no
// statistic is left; kRange when the offset is at the end; kNotFound without a `serverStatistics`
// element.
int ScanServerStatisticsReply(char* reply, int replyLength, int* offset, char** element,
                              int* elementLength);

// Asks the default peer and passes every statistic to the callback, for the General screen: the
// list ends at the first statistic that cannot be read, and a reply without a list or with one that
// was cut is no failure (but shows in the daemon's state, exchange_state.h). hooks may be null.
// Returns kOk after the list, kNoMemory, the transport's code, the server's error, or what the
// callback returned to stop.
int QueryServerStatistics(int version, StatisticsCallback callback, const RequestHooks* hooks,
                          void* context);

// The same counters as elements of their own.
struct ServerCounters {
    uint64_t packetsAccepted;
    uint64_t packetsDumped;
    uint64_t zrpRequests;
    uint64_t zrpDuplicateReplies;
    uint64_t bytesRead;
    uint64_t bytesWritten;
    uint64_t serverUpTime; // seconds
    uint32_t logAllowed;   // 1 while users may log in, else 0

    // Those below are not sent by every server.
    uint32_t connectionSlotsInUse;
    uint32_t peakConnectionSlots;
    uint32_t maximumConnectionSlots;
    uint32_t notLoggedInCount;
    uint32_t licensedConnectionCount;
    uint32_t numberOfOpenFiles;
    uint32_t fileLockCount;
    uint32_t numberOfMountedVolumes;
    uint32_t volumeCount;
};

// Reads the elements of a reply that have the members' names. A counter below logAllowed that the
// server did not send keeps its value. Returns kOk, or kInvalid when another element is missing.
int ScanServerCountersReply(char* reply, int replyLength, ServerCounters* record);

int GetServerCounters(ServerCounters* record, ErrorText* errorText, const LogContext* log);

} // namespace zrp
