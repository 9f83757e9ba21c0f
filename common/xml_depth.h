// How deep a place is inside an element of a reply. Internal to the library.
#pragma once

#include <cstdint>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace zrp {

// How many elements of any name are open at a place of a content.
struct Depth {
    const char* place;
    int64_t open = 0;
};

// Goes on with the count to a place that is inside no name. A search with its lookout has passed
// the range before. Returns kOk, or the code of a count that was broken off.
int count_depth(std::string_view tag, const char* place, const char* end, Depth* depth);

} // namespace zrp

#pragma GCC visibility pop
