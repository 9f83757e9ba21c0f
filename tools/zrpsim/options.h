// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

struct Options {
    std::vector<std::string> faults; // as typed
    uint64_t seed = 1;
    std::optional<int64_t> clock; // up time in seconds at which it stops
    WorldSize size;
    bool verbose = false;
    bool control = false;
    bool listFaults = false;
};

// Returns nothing when the program has to go on, else its exit status: 0 after --help, 1 after a
// message.
std::optional<int> read_options(int argc, char** argv, Options& options);

} // namespace zrp::sim
