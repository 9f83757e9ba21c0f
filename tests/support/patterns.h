// Regular expressions, in the dialect of ECMAScript. The templates of the standard library take the
// compiler two seconds wherever they are used, so only one file uses them.
#pragma once

#include <string>
#include <vector>

namespace zrp {

// The text of a match, then those of its groups; empty for a group that took no part.
using PatternMatch = std::vector<std::string>;

// Whether the whole text matches.
bool matches(const std::string& text, const std::string& pattern);

// All matches in the text, from left to right.
std::vector<PatternMatch> find_matches(const std::string& text, const std::string& pattern);

// The text with another in the place of each match.
std::string replace_matches(const std::string& text, const std::string& pattern,
                            const std::string& replacement);

} // namespace zrp
