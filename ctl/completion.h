// Completion of a command line, for shells.
#pragma once

#include <span>
#include <string>

namespace zrp::ctl {

// The words that can complete the last one, one a line. Names of the server come within a second or
// not at all.
std::string completions(std::span<const char* const> words);

} // namespace zrp::ctl
