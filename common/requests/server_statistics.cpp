#include "common/requests/server_statistics.h"

#include <utility>

#include "common/engine/command.h"
#include "common/exchange_state.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kStatisticsRoom = 256;

constexpr ReplyList kStatistics = {{tag::serverStatistics}, tag::parm, {}, kNotFound};

struct Statistic {
    char* element;
    int length;
};

#define ZRP_COUNTER(kind, name) ZRP_FIELD(tag::name, kind, ServerCounters, name)
#define ZRP_OPTIONAL_COUNTER(name) ZRP_OPTIONAL_FIELD(tag::name, kNumber32, ServerCounters, name)

constexpr ReplyField kCounterFields[] = {
    ZRP_COUNTER(kNumber64, packetsAccepted),
    ZRP_COUNTER(kNumber64, packetsDumped),
    ZRP_COUNTER(kNumber64, zrpRequests),
    ZRP_COUNTER(kNumber64, zrpDuplicateReplies),
    ZRP_COUNTER(kNumber64, bytesRead),
    ZRP_COUNTER(kNumber64, bytesWritten),
    ZRP_COUNTER(kNumber64, serverUpTime),
    ZRP_COUNTER(kNumber32, logAllowed),
    ZRP_OPTIONAL_COUNTER(connectionSlotsInUse),
    ZRP_OPTIONAL_COUNTER(peakConnectionSlots),
    ZRP_OPTIONAL_COUNTER(maximumConnectionSlots),
    ZRP_OPTIONAL_COUNTER(notLoggedInCount),
    ZRP_OPTIONAL_COUNTER(licensedConnectionCount),
    ZRP_OPTIONAL_COUNTER(numberOfOpenFiles),
    ZRP_OPTIONAL_COUNTER(fileLockCount),
    ZRP_OPTIONAL_COUNTER(numberOfMountedVolumes),
    ZRP_OPTIONAL_COUNTER(volumeCount),
};

#undef ZRP_OPTIONAL_COUNTER
#undef ZRP_COUNTER

constexpr Command kCounters = {tag::serverStatistics, nullptr, {}, kCounterFields};

// Compatibility: a statistic that cannot be read ends the list, which is no failure. The daemon's
// state says that the list was cut.
int visit_statistics(const Reply& reply, StatisticsCallback callback, void* context) {
    int offset = 0;
    int rc = kOk;
    while (rc == kOk) {
        Statistic found = {};
        rc = ScanServerStatisticsReply(reply.text.get(), reply.length, &offset, &found.element,
                                       &found.length);
        if (rc != kOk) {
            rc = end_of_list(kStatistics, reply.text.get(), reply.length, offset, rc);
            NoteReplyResult(DaemonId::kMain, rc, nullptr);
            return failure_of(rc, kOk);
        }
        rc = callback(context, found.element, found.length);
    }
    return rc;
}

} // namespace

char* BuildServerStatisticsRequest(int version, uint32_t* length) {
    XmlDocument document = StartDocument(kStatisticsRoom);
    WriteOpenGroup(document, tag::zrpConsoleRequest);
    WriteOpenGroup(document, tag::serverStatistics);
    WriteIntElement(document, tag::versionTag, version);
    WriteCloseGroup(document, tag::serverStatistics);
    WriteCloseGroup(document, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanServerStatisticsReply(char* reply, int replyLength, int* offset, char** element,
                              int* elementLength) {
    if (element == nullptr || elementLength == nullptr) {
        return kInvalid;
    }
    return scan_next(kStatistics, reply, replyLength, offset, [&](const XmlElement& item) {
        *element = item.contentStart;
        *elementLength = static_cast<int>(item.contentLength);
        return int{kOk};
    });
}

int QueryServerStatistics(int version, StatisticsCallback callback, const RequestHooks* hooks,
                          void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    Query query;
    query.hooks = hooks != nullptr ? *hooks : RequestHooks{};
    uint32_t length = 0;
    HeapText request(BuildServerStatisticsRequest(version, &length));
    Reply reply;
    const int rc = send_query(query, std::move(request), length, &reply);
    if (rc != kOk) {
        return rc;
    }
    return visit_statistics(reply, callback, context);
}

int ScanServerCountersReply(char* reply, int replyLength, ServerCounters* record) {
    return scan_command(kCounters, reply, replyLength, record);
}

int GetServerCounters(ServerCounters* record, ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    if (record == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildServerStatisticsRequest(kServerStatisticsVersion, &length));
    return run_document(kCounters, std::move(request), length, caller, record);
}

} // namespace zrp
