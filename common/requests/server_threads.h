// Threads of the main daemon: how many there are and how busy they are.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"

namespace zrp {

struct ThreadStatistics {
    int32_t currAsynceDirThreads;
    int32_t maxAsynceDirThreads;
    int32_t peakAsynceDirThreads;
    int32_t currQueuedeDirRequests;
    int32_t peakQueuedeDirRequests;
    int32_t activeSSGThreads;
    int32_t addlSSGThreads;
    int32_t totalZRPStreams;
    float averageSSGThreadLoad;
    int32_t peakSSGThreads;
    int32_t peakZRPStreams;
    float peakAverageSSGThreadLoad;
};

static_assert(sizeof(ThreadStatistics) == size_t{12} * 4);

char* BuildThreadsRequest(uint32_t* length);

// Reads what the reply has of the record. A field that is missing or self-closing is reported on
// standard error and keeps its value. Returns kOk, or kInvalid for a reply without a `threads`
// element.
int ScanThreadsReply(char* reply, int replyLength, ThreadStatistics* record);

int GetThreads(ThreadStatistics* record, ErrorText* errorText, const LogContext* log);

} // namespace zrp
