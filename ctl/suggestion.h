// The command that a user may have meant.
#pragma once

#include <string>
#include <string_view>

namespace zrp::ctl {

// "unknown command "volumez"; did you mean "volumes"?", or without the question when none is near.
std::string unknown_command(std::string_view typed);

} // namespace zrp::ctl
