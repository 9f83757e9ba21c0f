// Finders of the reply reader: elements and plain tags.

#include <algorithm>

#include "common/result.h"
#include "common/thread_limits.h"
#include "common/xml_reader.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

// Closes the gaps that removed CDATA markers leave in an element. Bytes move once, when the next
// marker or the end is reached, so that the whole takes one pass.
struct Compaction {
    char* kept;    // end of the bytes that are in their final place
    char* pending; // start of the bytes that still have to move there
};

size_t gap_of(const Compaction& compaction) {
    return static_cast<size_t>(compaction.pending - compaction.kept);
}

// Moves the bytes before the given end into place.
void close_gap(Compaction& compaction, char* end) {
    const auto size = static_cast<size_t>(end - compaction.pending);
    if (compaction.kept != compaction.pending) {
        memmove(compaction.kept, compaction.pending, size);
    }
    compaction.kept += size;
    compaction.pending = end;
}

void remove_marker(Compaction& compaction, char* marker, size_t size) {
    close_gap(compaction, marker);
    compaction.pending = marker + size;
}

void finish(Compaction& compaction, char* end) {
    close_gap(compaction, end);
    memset(compaction.kept, ' ', gap_of(compaction));
}

// State of the walk through an element's content.
struct BodyWalk {
    std::string_view tag;
    char* end;
    char* position;
    int64_t sameNameDepth = 0; // open elements of the same name inside
    int64_t depth = 0;         // open elements of any name inside
    Compaction compaction;
};

enum class Step { kContinue, kMatched, kTruncated };

// At "</". Compatibility: every closing tag lowers the depth, whatever its name.
Step step_closing_tag(BodyWalk& walk) {
    walk.depth--;
    walk.position += 2;
    if (!starts_with(walk.position, walk.end, walk.tag)) {
        return Step::kContinue;
    }
    walk.position += walk.tag.size();
    if (walk.position == walk.end) {
        return Step::kTruncated;
    }
    if (*walk.position != '>') {
        return Step::kContinue;
    }
    return walk.sameNameDepth-- == 0 ? Step::kMatched : Step::kContinue;
}

// At "<![CDATA[": the section holds text, not markup.
Step step_cdata(BodyWalk& walk) {
    char* text = walk.position + kCdataOpen.size();
    const char* close = cdata_end(text, walk.end);
    if (close == nullptr) {
        return Step::kTruncated;
    }
    remove_marker(walk.compaction, walk.position, kCdataOpen.size());
    walk.position = text + (close - text);
    remove_marker(walk.compaction, walk.position, kCdataClose.size());
    return Step::kContinue;
}

// Moves to the end of a name. Returns kOk, or the code with which the walk has to end.
int walk_name(char** position, const char* end) {
    int rc = kOk;
    while (rc == kOk && *position < end) {
        char* const stop = *position + std::min<ptrdiff_t>(end - *position, kLookDistance);
        *position = std::find_if(*position, stop, ends_name);
        if (*position < stop) {
            break;
        }
        rc = scan_result();
    }
    return rc;
}

// At any other '<'. Compatibility: a self-closing tag without attributes is not counted in depth,
// but one of the same name is counted in sameNameDepth.
Step step_opening_tag(BodyWalk& walk) {
    const char* name = ++walk.position;
    if (walk_name(&walk.position, walk.end) != kOk || walk.position == walk.end) {
        return Step::kTruncated;
    }
    walk.depth += *walk.position == '/' ? 0 : 1;
    if (std::string_view(name, static_cast<size_t>(walk.position - name)) == walk.tag) {
        walk.sameNameDepth++;
    }
    return Step::kContinue;
}

Step step_body(BodyWalk& walk) {
    if (starts_with(walk.position, walk.end, "</")) {
        return step_closing_tag(walk);
    }
    if (walk.depth == 0 && starts_with(walk.position, walk.end, kCdataOpen)) {
        return step_cdata(walk);
    }
    return step_opening_tag(walk);
}

// Walks from the first byte of the content to the '>' of the closing tag.
int match_content(std::string_view tag, char* content, char* end, XmlElement* element) {
    BodyWalk walk = {tag, end, content, 0, 0, {content, content}};
    Lookout lookout(content);
    Step step = Step::kContinue;
    int rc = kOk;
    char* markup = nullptr;
    while (rc == kOk && step == Step::kContinue &&
           (markup = next_markup(walk.position, end)) != nullptr) {
        walk.position = markup;
        step = step_body(walk);
        rc = lookout.at(walk.position);
    }
    if (rc != kOk || step != Step::kMatched) {
        finish(walk.compaction, end);
        return rc != kOk ? rc : int{kNotFound};
    }
    const size_t gap = gap_of(walk.compaction);
    finish(walk.compaction, walk.position + 1);
    element->contentStart = content;
    element->contentEnd = markup - gap - 1;
    element->contentLength = static_cast<uint32_t>(markup - gap - content);
    element->elementEnd = walk.position - gap;
    return kOk;
}

// Completes the match of an element whose name in the opening tag ends at tagEnd.
int match_element(std::string_view tag, char* tagEnd, char* end, XmlElement* element) {
    char* close = next_byte(tagEnd, end, '>');
    if (close == nullptr) {
        return kNotFound;
    }
    XmlElement match;
    match.tagEnd = tagEnd;
    if (close[-1] == '/') {
        match.elementEnd = close;
    } else if (const int rc = match_content(tag, close + 1, end, &match); rc != kOk) {
        return rc;
    }
    *element = match;
    return kOk;
}

bool is_whole_tag(std::string_view tag, const char* markup, const char* end) {
    return starts_with(markup + 1, end, tag) && markup + 1 + tag.size() < end &&
           markup[1 + tag.size()] == '>';
}

} // namespace

int find_opening(std::string_view tag, const char* start, const char* end, const char** found) {
    Lookout lookout(start);
    for (const char* markup = next_markup(start, end); markup != nullptr;
         markup = next_markup(markup + 1, end)) {
        const char* name = markup + 1;
        if (starts_with(name, end, tag) && name + tag.size() < end && ends_name(name[tag.size()])) {
            *found = markup;
            return kOk;
        }
        if (const int rc = lookout.at(markup); rc != kOk) {
            return rc;
        }
    }
    return kNotFound;
}

int FindElement(std::string_view tag, char* start, char* end, XmlElement* element) {
    const char* found = nullptr;
    const int rc = find_opening(tag, start, end, &found);
    if (rc != kOk) {
        return rc;
    }
    char* markup = start + (found - start);
    return match_element(tag, markup + 1 + tag.size(), end, element);
}

int NextElement(char* start, char* end, XmlElement* element, char** name, size_t* nameLength) {
    Lookout lookout(start);
    for (char* markup = next_markup(start, end); markup != nullptr;
         markup = next_markup(markup + 1, end)) {
        if (const int rc = lookout.at(markup); rc != kOk) {
            return rc;
        }
        char* first = markup + 1;
        if (first < end && (*first == '/' || *first == '!' || *first == '?')) {
            continue;
        }
        char* last = first;
        if (const int rc = walk_name(&last, end); rc != kOk) {
            return rc;
        }
        const auto length = static_cast<size_t>(last - first);
        const int rc = match_element({first, length}, last, end, element);
        if (rc == kOk) {
            *name = first;
            *nameLength = length;
        }
        return rc;
    }
    return kNotFound;
}

int FindClosingTag(std::string_view tag, const char* start, const char* end, const char** found) {
    Lookout lookout(end);
    for (const char* markup = last_markup(start, end); markup != nullptr;
         markup = last_markup(start, markup)) {
        if (const int rc = lookout.at(markup); rc != kOk) {
            return rc;
        }
        if (starts_with(markup, end, "</") && is_whole_tag(tag, markup + 1, end)) {
            *found = markup;
            return kOk;
        }
    }
    return kNotFound;
}

int FindPlainOpenTag(std::string_view tag, const char* start, const char* end, const char** found) {
    Lookout lookout(start);
    const char* markup = next_markup(start, end);
    while (markup != nullptr) {
        if (const int rc = lookout.at(markup); rc != kOk) {
            return rc;
        }
        const char* next = markup + 1;
        if (starts_with(markup, end, kCdataOpen)) {
            next = cdata_end(markup + kCdataOpen.size(), end);
            if (next == nullptr) {
                break;
            }
        } else if (is_whole_tag(tag, markup, end)) {
            *found = markup + 1 + tag.size();
            return kOk;
        }
        markup = next_markup(next, end);
    }
    return kNotFound;
}

} // namespace zrp
