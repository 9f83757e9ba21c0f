// Counters of the main daemon as one record. BuildServerStatisticsRequest (server_statistics.h) is
// the request; its reply also has them as a list of named values.
#pragma once

#include <cstdint>

namespace zrp {

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

// Reads the elements of a reply that bear the members' names. A counter below logAllowed that the
// server did not send keeps its value. Returns 0, or 22 for a null record, an empty reply (also a
// negative length) and when another element is missing; the record is then as it was.
int ScanServerCountersReply(char* reply, int replyLength, ServerCounters* record);

} // namespace zrp
