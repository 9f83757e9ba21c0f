#include "tests/support/patterns.h"

#include <map>
#include <regex>

namespace zrp {
namespace {

// Kept, since some are used for each line of a long text.
const std::regex& compiled(const std::string& pattern) {
    static std::map<std::string, std::regex> patterns;
    const auto at = patterns.find(pattern);
    return at == patterns.end() ? patterns.emplace(pattern, pattern).first->second : at->second;
}

} // namespace

bool matches(const std::string& text, const std::string& pattern) {
    return std::regex_match(text, compiled(pattern));
}

std::vector<PatternMatch> find_matches(const std::string& text, const std::string& pattern) {
    const std::regex& expression = compiled(pattern);
    std::vector<PatternMatch> found;
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at) {
        found.emplace_back(at->begin(), at->end());
    }
    return found;
}

std::string replace_matches(const std::string& text, const std::string& pattern,
                            const std::string& replacement) {
    return std::regex_replace(text, compiled(pattern), replacement);
}

} // namespace zrp
