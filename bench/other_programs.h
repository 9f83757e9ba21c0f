// Rows beside those of the screens: the monitor on daemons that do not answer, and other monitors.
#pragma once

#include "bench/turns.h"

namespace zrp::bench {

std::vector<Job> other_jobs();

} // namespace zrp::bench
