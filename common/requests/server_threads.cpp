#include "common/requests/server_threads.h"

#include <cstdio>

#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"

namespace zrp {
namespace {

#define ZRP_THREAD_FIELD(name, kind) ZRP_FIELD(tag::name, kind, ThreadStatistics, name)

constexpr ReplyField kFields[] = {
    ZRP_THREAD_FIELD(currAsynceDirThreads, kDecimal),
    ZRP_THREAD_FIELD(maxAsynceDirThreads, kDecimal),
    ZRP_THREAD_FIELD(peakAsynceDirThreads, kDecimal),
    ZRP_THREAD_FIELD(currQueuedeDirRequests, kDecimal),
    ZRP_THREAD_FIELD(peakQueuedeDirRequests, kDecimal),
    ZRP_THREAD_FIELD(activeSSGThreads, kDecimal),
    ZRP_THREAD_FIELD(addlSSGThreads, kDecimal),
    ZRP_THREAD_FIELD(totalZRPStreams, kDecimal),
    ZRP_THREAD_FIELD(averageSSGThreadLoad, kFraction),
    ZRP_THREAD_FIELD(peakSSGThreads, kDecimal),
    ZRP_THREAD_FIELD(peakZRPStreams, kDecimal),
    ZRP_THREAD_FIELD(peakAverageSSGThreadLoad, kFraction),
};

#undef ZRP_THREAD_FIELD

constexpr Command kThreads = {tag::threads};

} // namespace

char* BuildThreadsRequest(uint32_t* length) {
    return build_command(kThreads, {}, length);
}

int ScanThreadsReply(char* reply, int replyLength, ThreadStatistics* record) {
    XmlElement threads;
    if (record == nullptr) {
        return kInvalid;
    }
    if (const int rc = find_in_reply(reply, replyLength, tag::threads, &threads); rc != kOk) {
        return failure_of(rc, kInvalid);
    }
    for (const ReplyField& field : kFields) {
        XmlElement element;
        const int rc = find_inside(threads, field.tag, &element);
        if (rc != kOk && rc != kNotFound) {
            return rc;
        }
        if (rc != kOk) {
            fprintf(stderr, "\n%s:Error- failed for %s, err = %d!\n", "ScanThreadsReply",
                    field.tag.data(), rc);
            fflush(stderr);
        } else if (element.contentStart == nullptr) {
            fprintf(stderr, "\n%s:Error- failed for %s, data is null!\n", "ScanThreadsReply",
                    field.tag.data());
            fflush(stderr);
        } else {
            (void)store_field(field, {element.contentStart, element.contentLength}, record);
        }
    }
    return kOk;
}

int GetThreads(ThreadStatistics* record, ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    if (record == nullptr) {
        return kInvalid;
    }
    Reply reply;
    const int rc = send_command(kThreads, {}, caller, &reply);
    return rc == kOk ? ScanThreadsReply(reply.text.get(), reply.length, record) : rc;
}

} // namespace zrp
