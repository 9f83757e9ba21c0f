// Finders of the reply reader: elements and plain tags.

#include <algorithm>

#include "common/result.h"
#include "common/thread_limits.h"
#include "common/xml_blocks.h"
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

// How many elements of any name are open at a place of a content.
struct Depth {
    const char* place;
    int64_t open = 0;
};

// State of the walk through an element's content.
struct ContentWalk {
    std::string_view tag;
    char* content;
    char* end;
    char* position;
    int64_t sameNameDepth = 0; // open elements of the same name inside
    Depth depth;
    Compaction compaction;
};

enum class Step { kContinue, kMatched, kTruncated };

// Moves to the end of a name. Returns kOk, or the code with which the walk has to end.
template <typename Char>
int walk_name(Char** position, const char* end) {
    int rc = kOk;
    while (rc == kOk && *position < end) {
        Char* const stop = *position + std::min<ptrdiff_t>(end - *position, kLookDistance);
        *position = std::find_if(*position, stop, ends_name);
        if (*position < stop) {
            break;
        }
        rc = scan_result();
    }
    return rc;
}

// Whether a '<' is a part of a name, which only the characters of ends_name end.
bool is_inside_name(const char* content, const char* markup) {
    while (markup > content && !ends_name(markup[-1])) {
        markup--;
        if (*markup == '<') {
            return true;
        }
    }
    return false;
}

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

// Goes on with the count to a place that is inside no name.
int count_depth(std::string_view tag, const char* place, const char* end, Depth* depth) {
    Lookout lookout(depth->place);
    int rc = kOk;
    const char* markup = nullptr;
    while (rc == kOk && (markup = next_markup(depth->place, place)) != nullptr) {
        rc = count_tag(tag, markup, end, depth);
        rc = rc == kOk ? lookout.at(markup) : rc;
    }
    return rc;
}

// At "</".
Step step_closing_tag(ContentWalk& walk) {
    char* name = walk.position + 2;
    if (!starts_with(name, walk.end, walk.tag)) {
        walk.position = name;
        return Step::kContinue;
    }
    char* nameEnd = name + walk.tag.size();
    if (nameEnd == walk.end) {
        return Step::kTruncated;
    }
    const bool closes = *nameEnd == '>' && !is_inside_name(walk.content, walk.position);
    walk.position = nameEnd;
    if (!closes) {
        return Step::kContinue;
    }
    return walk.sameNameDepth-- == 0 ? Step::kMatched : Step::kContinue;
}

// At "<![CDATA[" outside every other element: the section holds text, not markup.
Step step_cdata(ContentWalk& walk) {
    char* text = walk.position + kCdataOpen.size();
    const char* close = cdata_end(text, walk.end);
    if (close == nullptr) {
        return Step::kTruncated;
    }
    remove_marker(walk.compaction, walk.position, kCdataOpen.size());
    walk.position = text + (close - text);
    walk.depth.place = walk.position;
    remove_marker(walk.compaction, walk.position, kCdataClose.size());
    return Step::kContinue;
}

// At any other '<'. Compatibility: a self-closing tag of the same name counts as open.
Step step_opening_tag(ContentWalk& walk) {
    const char* name = walk.position + 1;
    const char* nameEnd = name + walk.tag.size();
    if (starts_with(name, walk.end, walk.tag) && nameEnd < walk.end && ends_name(*nameEnd) &&
        !is_inside_name(walk.content, walk.position)) {
        walk.sameNameDepth++;
    }
    walk.position++;
    return Step::kContinue;
}

// Whether the section at the position is one of this element, and not of one inside it. Returns a
// result code.
int is_own_section(ContentWalk& walk, bool* isOwn) {
    *isOwn = false;
    if (!starts_with(walk.position, walk.end, kCdataOpen) ||
        is_inside_name(walk.content, walk.position)) {
        return kOk;
    }
    const int rc = count_depth(walk.tag, walk.position, walk.end, &walk.depth);
    *isOwn = walk.depth.open == 0;
    return rc;
}

int step_content(ContentWalk& walk, Step* step) {
    if (starts_with(walk.position, walk.end, "</")) {
        *step = step_closing_tag(walk);
        return kOk;
    }
    bool isOwn = false;
    const int rc = is_own_section(walk, &isOwn);
    *step = isOwn ? step_cdata(walk) : step_opening_tag(walk);
    return rc;
}

// Whether the tag of that name, closed by its '>', is at the '<'.
bool is_closing_tag(std::string_view tag, const char* markup, const char* end) {
    return end - markup > static_cast<ptrdiff_t>(tag.size()) + 2 && markup[1] == '/' &&
           same_bytes(markup + 2, tag.data(), tag.size()) && markup[2 + tag.size()] == '>';
}

void set_match(XmlElement* element, char* content, size_t length, char* elementEnd) {
    element->contentStart = content;
    element->contentEnd = content + length - 1;
    element->contentLength = static_cast<uint32_t>(length);
    element->elementEnd = elementEnd;
}

// Walks from the first byte of the content to the '>' of the closing tag.
template <typename Filter>
int walk_content(const Filter& filter, std::string_view tag, char* content, char* end,
                 XmlElement* element) {
    ContentWalk walk = {tag, content, end, content, 0, {content}, {content, content}};
    Lookout lookout(content);
    Step step = Step::kContinue;
    const char* markup = nullptr;
    int rc = kOk;
    while (rc == kOk && step == Step::kContinue &&
           (rc = next_hit(filter, walk.position, end, &markup)) == kOk) {
        walk.position += markup - walk.position;
        rc = step_content(walk, &step);
        rc = rc == kOk ? lookout.at(walk.position) : rc;
    }
    if (rc != kOk || step != Step::kMatched) {
        finish(walk.compaction, end);
        return failure_of(rc, kNotFound);
    }
    const size_t gap = gap_of(walk.compaction);
    finish(walk.compaction, walk.position + 1);
    set_match(element, content, static_cast<size_t>(markup - content) - gap, walk.position - gap);
    return kOk;
}

int match_content(std::string_view tag, char* content, char* end, XmlElement* element) {
    const char* markup = nullptr;
    if (const int rc = next_hit(MarkupFilter(), content, end, &markup); rc != kOk) {
        return rc;
    }
    if (is_closing_tag(tag, markup, end)) { // nearly all elements hold text alone
        const auto length = static_cast<size_t>(markup - content);
        set_match(element, content, length, content + length + tag.size() + 2);
        return kOk;
    }
    return tag.empty() ? walk_content(MarkupFilter(), tag, content, end, element)
                       : walk_content(ContentFilter(tag), tag, content, end, element);
}

// Completes the match of an element whose name in the opening tag ends at tagEnd.
int match_element(std::string_view tag, char* tagEnd, char* end, XmlElement* element) {
    char* close = tagEnd < end && *tagEnd == '>' ? tagEnd : next_byte(tagEnd, end, '>');
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

template <typename Filter>
int search_opening(const Filter& filter, std::string_view tag, const char* start, const char* end,
                   const char** found) {
    Lookout lookout(start);
    const char* markup = nullptr;
    int rc = kOk;
    for (const char* position = start;
         rc == kOk && (rc = next_hit(filter, position, end, &markup)) == kOk;
         position = markup + 1) {
        const char* name = markup + 1;
        if (starts_with(name, end, tag) && name + tag.size() < end && ends_name(name[tag.size()])) {
            *found = markup;
            return kOk;
        }
        rc = lookout.at(markup);
    }
    return rc;
}

bool is_whole_tag(std::string_view tag, const char* markup, const char* end) {
    return starts_with(markup + 1, end, tag) && markup + 1 + tag.size() < end &&
           markup[1 + tag.size()] == '>';
}

} // namespace

int find_opening(std::string_view tag, const char* start, const char* end, const char** found) {
    return tag.empty() ? search_opening(MarkupFilter(), tag, start, end, found)
                       : search_opening(OpeningFilter(tag), tag, start, end, found);
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

bool list_plain_children(char* start, char* end, PlainChildren* children) {
    children->count = 0;
    const char* markup = nullptr;
    char* position = start;
    while (next_hit(MarkupFilter(), position, end, &markup) == kOk) {
        const char* name = markup + 1;
        char* nameEnd =
            start + (std::find_if(name, static_cast<const char*>(end), ends_name) - start);
        if (nameEnd == end || *nameEnd != '>' || children->count == kMaxPlainChildren) {
            return false;
        }
        const std::string_view tag(name, static_cast<size_t>(nameEnd - name));
        if (next_hit(MarkupFilter(), nameEnd, end, &markup) != kOk ||
            !is_closing_tag(tag, markup, end)) {
            return false;
        }
        char* content = nameEnd + 1;
        const auto length = static_cast<size_t>(markup - content);
        children->list[children->count++] = {name, tag.size(), content, length};
        position = content + length + tag.size() + 3; // "</", the tag and ">"
    }
    return true;
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
