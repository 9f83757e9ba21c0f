// The command that a user may have meant.
#pragma once

#include <string>
#include <string_view>

namespace zrp::ctl {

// Empty when none is near.
std::string nearest_command(std::string_view typed);

} // namespace zrp::ctl
