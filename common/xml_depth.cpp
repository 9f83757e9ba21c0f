#include "common/xml_depth.h"

#include "common/result.h"
#include "common/thread_limits.h"
#include "common/xml_blocks.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

// Counts the tag of a '<' that is inside no name. Compatibility: every closing tag lowers the
// depth, whatever its name, and a self-closing tag with attributes raises it.
int count_tag(std::string_view tag, const char* markup, const char* end, Depth* depth) {
    depth->place = markup + 1;
    if (starts_with(markup, end, "</")) {
        depth->open--;
        depth->place++;
        depth->place += starts_with(depth->place, end, tag) ? tag.size() : 0;
        return kOk;
    }
    const int rc = walk_name(&depth->place, end);
    depth->open += depth->place < end && *depth->place == '/' ? 0 : 1;
    return rc;
}

#ifdef ZRP_BLOCK_STEPS
constexpr unsigned kLastPlace = kStepSize - 1;

// The '/' that end a name each take the place of an opening tag.
int64_t count_empty(uint32_t slashes, const char* start, const char* step) {
    int64_t count = 0;
    for (; slashes != 0; slashes &= slashes - 1) {
        count += is_inside_name(start, step + std::countr_zero(slashes)) ? 1 : 0;
    }
    return count;
}

struct DepthCount {
    const char* start;
    int64_t open = 0;
    uint64_t run = 0; // one after a '<' with no '>' after it, in the steps before
    uint32_t closingBefore = 0;
};

// Counts the markup of a step in the places within. Returns false for what it cannot count.
[[gnu::always_inline]] inline bool count_step(const char* step, uint32_t within,
                                              DepthCount& count) {
    const uint32_t markups = places_of('<', step) & within;
    const uint32_t slashes = places_of('/', step);
    const uint32_t slashAfter = step[kStepSize] == '/' ? 1 : 0;
    const uint32_t closings = markups & (slashes >> 1 | slashAfter << kLastPlace);
    // The sum carries from each '<' to the next '>', and leaves a second '<' before it, which may
    // be inside a name.
    const uint64_t sum = uint64_t{markups} + uint32_t{~places_of('>', step)} + count.run;
    const uint32_t others = slashes & within & ~(closings << 1 | count.closingBefore);
    count.run = sum >> kStepSize;
    count.closingBefore = closings >> kLastPlace;
    count.open += count_bits((uint64_t{markups ^ closings} << kStepSize) | ~closings) - kStepSize;
    if (others != 0) {
        count.open -= count_empty(others, count.start, step);
    }
    return (sum & markups) == 0;
}

// Counts the markup of [position, place). Returns false, with the depth as it was, for markup that
// has to be counted tag by tag.
bool count_by_steps(const char* position, const char* place, const char* end, int64_t* depth) {
    DepthCount count{position};
    for (; place - position >= kStepSize && end - position > kStepSize; position += kStepSize) {
        if (!count_step(position, ~uint32_t{0}, count)) {
            return false;
        }
    }
    const ptrdiff_t left = place - position;
    if (left > 0 &&
        (end - position <= kStepSize || !count_step(position, (uint32_t{1} << left) - 1, count))) {
        return false;
    }
    *depth += count.open;
    return true;
}
#else
bool count_by_steps(const char*, const char*, const char*, int64_t*) {
    return false;
}
#endif

} // namespace

int count_depth(std::string_view tag, const char* place, const char* end, Depth* depth) {
    if (tag.find('<') == std::string_view::npos &&
        count_by_steps(depth->place, place, end, &depth->open)) {
        depth->place = place;
        return kOk;
    }
    Lookout lookout(depth->place);
    int rc = kOk;
    const char* markup = nullptr;
    while (rc == kOk && (markup = next_markup(depth->place, place)) != nullptr) {
        rc = count_tag(tag, markup, end, depth);
        rc = rc == kOk ? lookout.at(markup) : rc;
    }
    return rc;
}

} // namespace zrp
