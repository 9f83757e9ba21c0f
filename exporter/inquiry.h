// Asks the three daemons, all at once, within one time limit.
#pragma once

#include <chrono>
#include <cstddef>

#include "exporter/facts.h"
#include "exporter/journal.h"

namespace zrp::exporter {

struct Limits {
    std::chrono::milliseconds timeout{5000}; // for everything that is asked
    size_t connections = 0;                  // how many of them get metrics of their own
};

// Takes up to limits.timeout. Needs a client::Session. Throws std::bad_alloc, and std::system_error
// when the system gives no thread.
Facts Inquire(const Limits& limits, Journal& journal);

} // namespace zrp::exporter
