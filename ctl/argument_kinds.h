// What the kinds of arguments accept.
#pragma once

#include <string>

#include "ctl/command.h"

namespace zrp::ctl {

// Throws a Failure of kind kUsage that names the argument.
void check_argument(const Argument& argument, const std::string& value);

// How completion finds values of the kind: "volumes" or "settings" of the live server, "files", or
// an empty text.
const char* completion_source(ArgumentKind kind);

} // namespace zrp::ctl
