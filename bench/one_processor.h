// Where a figure is that of a program and a daemon which wait for each other: on two processors it
// depends on how deep the other one sleeps meanwhile.
#pragma once

#include <sched.h>

namespace zrp::bench {

// Keeps this process, and those that it starts, to the last processor.
inline void use_one_processor() {
    cpu_set_t processors;
    sched_getaffinity(0, sizeof processors, &processors);
    int last = CPU_SETSIZE - 1;
    while (!CPU_ISSET(last, &processors)) {
        last--;
    }
    CPU_ZERO(&processors);
    CPU_SET(last, &processors);
    sched_setaffinity(0, sizeof processors, &processors);
}

} // namespace zrp::bench
