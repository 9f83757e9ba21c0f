// Statistics of the main daemon: as a list of named values, as records, and its threads.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <string>
#include <vector>

#include "../requests/server_statistics.h"
#include "../requests/server_threads.h"
#include "detail.h"

namespace zrp::client {

struct Statistic {
    std::string name;
    std::string type; // "diffSeconds" for a duration
    std::string value;
};

namespace detail {

inline constexpr List kStatistics = {tag::serverStatistics, tag::parm};

inline int ScanStatistic(char* reply, int length, int* offset, Statistic* statistic) {
    constexpr int kValueSize = 4096;
    int next = *offset;
    char* element = nullptr;
    int elementLength = 0;
    int rc = ScanServerStatisticsReply(reply, length, &next, &element, &elementLength);
    if (rc != kOk || element == nullptr) {
        return rc == kOk ? int{kInvalid} : rc;
    }
    char name[kParmNameSize];
    char type[kParmTypeSize];
    char value[kValueSize];
    rc = GetNameValueParm(element, element + elementLength, name, type, value, kValueSize - 1);
    if (rc == kOk) {
        *statistic = {name, type, value};
        *offset = next;
    }
    return rc;
}

inline char* BuildStatisticsRequest(uint32_t* length) {
    return BuildServerStatisticsRequest(kServerStatisticsVersion, length);
}

} // namespace detail

inline Answer<std::vector<Statistic>> ListStatistics() {
    return detail::ListRecords<Statistic>(detail::kStatistics, detail::BuildStatisticsRequest,
                                          detail::ScanStatistic);
}

// The same figures by their names. Those that the server does not send are 0.
inline Answer<ServerCounters> GetServerCounters() {
    return detail::RunForRecord<ServerCounters>(zrp::GetServerCounters);
}

// A figure that the server does not send is 0, and named on standard error.
inline Answer<ThreadStatistics> GetThreads() {
    return detail::RunForRecord<ThreadStatistics>(zrp::GetThreads);
}

} // namespace zrp::client
