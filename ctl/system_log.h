// The system log: a line for each change that was sent.
#pragma once

#include <optional>

#include "ctl/command.h"
#include "ctl/failure.h"

namespace zrp::ctl {

// Who, what and the result:
//
//     root (uid 0): mount DATA --number 7: done
//     alice (uid 1000): remove "A B": volume is in use (server daemon, code 13)
void log_act(const Command& command, const Arguments& arguments,
             const std::optional<Failure>& failure);

} // namespace zrp::ctl
