// What a person is asked before something changes.
#pragma once

#include <functional>
#include <string>

#include "ctl/session.h"

namespace zrp::ctl {

// Makes the question, without its question mark; it may ask a daemon what hangs on the change.
using Question = std::function<std::string()>;

// Returns when the change may be made: after yes, or unasked with --yes and --dry-run. Throws a
// Failure of kind kUsage after any other answer, and without a terminal to ask on.
void confirm(Session& session, const Question& question);

} // namespace zrp::ctl
