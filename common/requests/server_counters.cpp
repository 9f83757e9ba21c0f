#include "common/requests/server_counters.h"

#include "common/engine/reply_record.h"
#include "common/tags.h"

namespace zrp {
namespace {

#define ZRP_COUNTER(kind, name) ZRP_FIELD(tag::name, kind, ServerCounters, name)

constexpr ReplyField kNeeded[] = {
    ZRP_COUNTER(kNumber64, packetsAccepted), ZRP_COUNTER(kNumber64, packetsDumped),
    ZRP_COUNTER(kNumber64, zrpRequests),     ZRP_COUNTER(kNumber64, zrpDuplicateReplies),
    ZRP_COUNTER(kNumber64, bytesRead),       ZRP_COUNTER(kNumber64, bytesWritten),
    ZRP_COUNTER(kNumber64, serverUpTime),    ZRP_COUNTER(kNumber32, logAllowed),
};

constexpr ReplyField kFurther[] = {
    ZRP_COUNTER(kNumber32, connectionSlotsInUse),
    ZRP_COUNTER(kNumber32, peakConnectionSlots),
    ZRP_COUNTER(kNumber32, maximumConnectionSlots),
    ZRP_COUNTER(kNumber32, notLoggedInCount),
    ZRP_COUNTER(kNumber32, licensedConnectionCount),
    ZRP_COUNTER(kNumber32, numberOfOpenFiles),
    ZRP_COUNTER(kNumber32, fileLockCount),
    ZRP_COUNTER(kNumber32, numberOfMountedVolumes),
    ZRP_COUNTER(kNumber32, volumeCount),
};

#undef ZRP_COUNTER

} // namespace

int ScanServerCountersReply(char* reply, int replyLength, ServerCounters* record) {
    return scan_record(reply, replyLength, tag::serverStatistics, kNeeded, kFurther, record);
}

} // namespace zrp
