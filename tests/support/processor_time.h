// What a wait costs.
#pragma once

#include <chrono>
#include <sys/resource.h>

namespace zrp {

// Processor time of this thread.
inline std::chrono::microseconds processor_time() {
    rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return std::chrono::seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           std::chrono::microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

} // namespace zrp
