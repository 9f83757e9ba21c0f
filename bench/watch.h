// What programs in pseudo-terminals cost, pass by pass.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/harness/terminal.h"

namespace zrp::bench {

// A pseudo-terminal of the size that all are measured in.
harness::TerminalOptions terminal_of(const std::vector<std::string>& command);

// What a process has cost so far.
struct Cost {
    double cpu = 0;      // microseconds of processor time, without children
    double children = 0; // milliseconds of those that have ended; the kernel counts in 10 ms
    double wakeUps = 0;  // how often its threads have gone to sleep
    double bytes = 0;    // to the terminal
};

Cost cost_of(harness::Terminal& terminal);

// The most memory that the process has had resident, in KiB.
double peak_memory(pid_t process);

// A program and its costs after each pass.
struct Watch {
    harness::Terminal* terminal;
    std::function<void(int pass)> afterPass = {};
    std::vector<Cost> costs = {};
};

// Follows the programs until each has made so many passes after the first that is seen. A pass ends
// with the program's output. False if one of them does not make them in time.
bool follow(const std::vector<Watch*>& watches, int passes);

// A quarter of the figures are lower: whatever else runs on the machine makes a figure higher and
// never lower.
double lower_quartile(std::vector<double> figures);

// Per pass of programs that do the same. The processor time is the lower quartile of all passes,
// the others are means.
Cost cost_of_pass(const std::vector<Watch>& watches);

} // namespace zrp::bench
