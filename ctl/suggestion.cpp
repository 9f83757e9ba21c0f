#include "ctl/suggestion.h"

#include <algorithm>
#include <vector>

#include "ctl/command.h"

namespace zrp::ctl {
namespace {

// The number of characters to insert, remove or replace; a swap of neighbours counts two.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t i = 0; i < row.size(); i++) {
        row[i] = i;
    }
    for (size_t i = 0; i < a.size(); i++) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < b.size(); j++) {
            const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

// Empty when none is near.
std::string nearest_command(std::string_view typed) {
    constexpr size_t kFar = 4;
    std::string nearest;
    size_t least = std::min(kFar, typed.size() / 2 + 1);
    for (const Command& command : commands()) {
        const size_t far = distance(typed, command.name);
        if (far < least) {
            least = far;
            nearest = command.name;
        }
    }
    return nearest;
}

} // namespace

std::string unknown_command(std::string_view typed) {
    const std::string nearest = nearest_command(typed);
    return "unknown command \"" + std::string(typed) + '"' +
           (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?");
}

} // namespace zrp::ctl
