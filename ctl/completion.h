// Completion of a command line, for shells.
#pragma once

#include <span>
#include <string>

namespace zrp::ctl {

// What may stand for the last word, after the words before it: a line for each. Names of the server
// come within a second or not at all.
std::string completions(std::span<const char* const> words);

} // namespace zrp::ctl
