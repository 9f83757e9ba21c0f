// Finders of the reply reader: elements and plain tags.

#include <algorithm>

#include "common/result.h"
#include "common/thread_limits.h"
#include "common/xml_blocks.h"
#include "common/xml_depth.h"
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

// Deeper than anything in a reply, and still so after a count from there.
constexpr int64_t kDeepest = int64_t{1} << 40;

// State of the walk through an element's content.
struct ContentWalk {
    std::string_view tag;
    char* content;
    char* end;
    char* position;
    bool hasOwnSections;       // false if it is known that all are in elements inside
    int64_t sameNameDepth = 0; // open elements of the same name inside
    Depth depth;
    int64_t shallowest; // the depth of the section that is in the fewest elements
    Compaction compaction;
};

// The usual steps are inlined: most walks are of an item, which takes one or two.
enum class Step { kContinue, kMatched, kTruncated };

// At "</".
[[gnu::always_inline]] inline Step step_closing_tag(ContentWalk& walk) {
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
[[gnu::noinline]] int is_own_section(ContentWalk& walk, bool* isOwn) {
    *isOwn = false;
    if (!walk.hasOwnSections || !starts_with(walk.position, walk.end, kCdataOpen) ||
        is_inside_name(walk.content, walk.position)) {
        return kOk;
    }
    const int rc = count_depth(walk.tag, walk.position, walk.end, &walk.depth);
    walk.shallowest = std::min(walk.shallowest, walk.depth.open);
    *isOwn = walk.depth.open == 0;
    return rc;
}

[[gnu::always_inline]] inline int step_content(ContentWalk& walk, Step* step) {
    if (*walk.position != '<') {
        walk.position++;
        return kOk;
    }
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

// Walks from the first byte of the content to the '>' of the closing tag. *shallowest is a depth
// that no section of the content is above, and becomes the one of the shallowest.
template <typename Filter>
int walk_content(const Filter& filter, std::string_view tag, char* content, char* end,
                 XmlElement* element, int64_t* shallowest) {
    ContentWalk walk = {tag, content,   end,      content,           *shallowest <= 0,
                        0,   {content}, kDeepest, {content, content}};
    Lookout lookout(content);
    Step step = Step::kContinue;
    char* markup = nullptr;
    int rc = kOk;
    while (rc == kOk && step == Step::kContinue &&
           (rc = next_hit(filter, walk.position, end, &markup)) == kOk) {
        if (*markup == '/' && markup > walk.position && markup[-1] == '<') {
            markup--;
        }
        walk.position = markup;
        rc = step_content(walk, &step);
        rc = rc == kOk ? lookout.at(walk.position) : rc;
    }
    if (rc != kOk || step != Step::kMatched) {
        finish(walk.compaction, end);
        return failure_of(rc, kNotFound);
    }
    const size_t gap = gap_of(walk.compaction);
    if (gap != 0) {
        finish(walk.compaction, walk.position + 1);
    }
    set_match(element, content, markup - gap, tag.size());
    if (gap != 0) {
        *shallowest = -kDeepest; // what was in an own section now counts as markup
    } else if (walk.hasOwnSections) {
        *shallowest = walk.shallowest;
    }
    return kOk;
}

int next_far_markup(char* position, const char* end, char** found) {
    return next_hit(MarkupFilter(), position, end, found);
}

// The next byte c if it is in the next step, as it mostly is, or null.
inline char* near_byte([[maybe_unused]] char* position, [[maybe_unused]] const char* end,
                       [[maybe_unused]] char c) {
#ifdef ZRP_BLOCK_STEPS
    const ptrdiff_t left = end - position;
    uint32_t places = 0;
    if (left >= kStepSize) {
        places = places_of(c, position);
    } else if (left >= kBlockSize) {
        const Block wanted = block_of(c);
        places = bits_of(load_block(position) == wanted) |
                 bits_of(load_block(end - kBlockSize) == wanted) << (left - kBlockSize);
    }
    if (places != 0) {
        return position + std::countr_zero(places);
    }
#endif
    return nullptr;
}

// Finds the next '<'.
inline int next_near_markup(char* position, const char* end, char** found) {
    *found = near_byte(position, end, '<');
    return *found != nullptr ? kOk : next_far_markup(position, end, found);
}

// The '>' of an opening tag whose name ends at nameEnd, or null for one that is not plain. Nobody
// needs it after the next markup.
inline char* plain_tag_end(char* nameEnd, const char* markup, const char* end) {
    if (nameEnd == nullptr || *nameEnd == '>') {
        return nameEnd;
    }
    if (!is_blank(*nameEnd)) {
        return nullptr;
    }
    char* close = near_byte(nameEnd, end, '>');
    close = close != nullptr ? close : next_byte(nameEnd, markup, '>');
    return close != nullptr && close[-1] != '/' ? close : nullptr;
}

// Reads the section of a '<' if it holds no other. Returns the first '<' after it, or null.
char* take_section(char* markup, char* end, PlainChild* child) {
    char* const text = markup + kCdataOpen.size();
    char* next = nullptr;
    if (!starts_with(markup, end, kCdataOpen) || next_near_markup(text, end, &next) != kOk) {
        return nullptr;
    }
    const char* const close = cdata_end(text, next);
    if (close == nullptr) {
        return nullptr;
    }
    child->section = markup;
    child->sectionEnd = text + (close - text);
    return next;
}

// Reads the plain element of a '<'. Returns the byte after it, or null for any other element.
char* take_child(char* markup, char* end, PlainChild* child) {
    char* const name = markup + 1;
    if (next_near_markup(name, end, &markup) != kOk) {
        return nullptr;
    }
    char* const nameEnd = plain_name_end(name, end);
    char* const close = plain_tag_end(nameEnd, markup, end);
    if (close == nullptr || close >= markup || nameEnd == name) {
        return nullptr;
    }
    const std::string_view tag(name, static_cast<size_t>(nameEnd - name));
    child->section = nullptr;
    if (!is_closing_tag(tag, markup, end)) {
        markup = take_section(markup, end, child);
        if (markup == nullptr || !is_closing_tag(tag, markup, end)) {
            return nullptr;
        }
    }
    child->tag = name;
    child->tagLength = tag.size();
    child->content = close + 1;
    child->contentLength = static_cast<size_t>(markup - child->content);
    return markup + tag.size() + 3;
}

// Adds the plain element of a '<', and moves on to the next '<'. Returns kOk; kNotFound when there
// is none; kInvalid for any other element; or the code of a search that was broken off.
int add_child(char** markup, char* end, PlainChildren* children) {
    char* const next = children->count < kMaxPlainChildren
                           ? take_child(*markup, end, &children->list[children->count])
                           : nullptr;
    if (next == nullptr) {
        return kInvalid;
    }
    children->count++;
    if (next == end) {
        return kNotFound;
    }
    if (*next == '<') {
        *markup = next;
        return kOk;
    }
    return next_near_markup(next, end, markup);
}

// Lists the children of an element whose first '<' is given, up to its closing tag. Returns the '<'
// of that tag, or null where there is anything else.
//
// The exact walk ends there too: it counts each child, and the section of one is at a depth of at
// least one.
char* walk_children(std::string_view tag, char* markup, char* end, PlainChildren* children) {
    children->count = 0;
    children->isWhole = true;
    while (children->isWhole && !is_closing_tag(tag, markup, end)) {
        children->isWhole = add_child(&markup, end, children) == kOk;
    }
    return children->isWhole ? markup : nullptr;
}

// Makes the enclosing element the one with that content, which is inside the other.
int enter(std::string_view tag, const char* content, const char* end, EnclosingElement* enclosing) {
    int rc = kOk;
    if (enclosing->content != nullptr) {
        Depth depth = {enclosing->content};
        rc = count_depth(tag, content, end, &depth);
        enclosing->shallowest -= depth.open;
    }
    enclosing->content = content;
    return rc;
}

// The exact walk, for an element with more than text inside.
[[gnu::noinline]] int walk_from(std::string_view tag, char* content, char* end, XmlElement* element,
                                EnclosingElement* enclosing) {
    EnclosingElement outermost;
    if (enclosing == nullptr) {
        enclosing = &outermost;
    }
    if (const int rc = enter(tag, content, end, enclosing); rc != kOk) {
        return rc;
    }
    return tag.empty()
               ? walk_content(MarkupFilter(), tag, content, end, element, &enclosing->shallowest)
               : walk_content(ContentFilter(tag), tag, content, end, element,
                              &enclosing->shallowest);
}

// Completes the match of an element whose content is given.
inline int match_content(std::string_view tag, char* content, char* end, XmlElement* element,
                         PlainChildren* children, EnclosingElement* enclosing) {
    char* markup = nullptr;
    if (const int rc = next_near_markup(content, end, &markup); rc != kOk) {
        return rc;
    }
    const bool isPlain = children != nullptr
                             ? (markup = walk_children(tag, markup, end, children)) != nullptr
                             : is_closing_tag(tag, markup, end);
    if (!isPlain) {
        return walk_from(tag, content, end, element, enclosing);
    }
    set_match(element, content, markup, tag.size()); // nearly all elements hold text alone
    return kOk;
}

// Completes the match of an element whose name in the opening tag ends at tagEnd.
int match_element(std::string_view tag, char* tagEnd, char* end, XmlElement* element,
                  PlainChildren* children, EnclosingElement* enclosing) {
    char* close = tagEnd < end && *tagEnd == '>' ? tagEnd : next_byte(tagEnd, end, '>');
    if (close == nullptr) {
        return kNotFound;
    }
    XmlElement match;
    match.tagEnd = tagEnd;
    if (close[-1] == '/') {
        match.elementEnd = close;
    } else if (const int rc = match_content(tag, close + 1, end, &match, children, enclosing);
               rc != kOk) {
        return rc;
    }
    *element = match;
    return kOk;
}

bool is_opening_tag(std::string_view tag, const char* markup, const char* end) {
    const auto size = static_cast<ptrdiff_t>(tag.size());
    return end - markup > size + 1 && *markup == '<' &&
           same_bytes(markup + 1, tag.data(), tag.size()) && ends_name(markup[size + 1]);
}

template <typename Filter>
int search_filtered(const Filter& filter, std::string_view tag, const char* start, const char* end,
                    const char** found) {
    Lookout lookout(start);
    const char* markup = nullptr;
    int rc = kOk;
    for (const char* position = start;
         rc == kOk && (rc = next_hit(filter, position, end, &markup)) == kOk;
         position = markup + 1) {
        if (is_opening_tag(tag, markup, end)) {
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

int find_element(std::string_view tag, char* start, char* end, XmlElement* element,
                 PlainChildren* children, EnclosingElement* enclosing) {
    const char* found = start;
    if (!is_opening_tag(tag, start, end)) { // as that of the next item of a list
        if (const int rc = find_opening(tag, start, end, &found); rc != kOk) {
            return rc;
        }
    }
    char* markup = start + (found - start);
    return match_element(tag, markup + 1 + tag.size(), end, element, children, enclosing);
}

// Takes the markers of a child's section out of its element, as the exact walk does.
void remove_markers(const PlainChild& child, XmlElement* element) {
    char* const end = element->elementEnd + 1;
    Compaction compaction = {child.section, child.section};
    remove_marker(compaction, child.section, kCdataOpen.size());
    remove_marker(compaction, child.sectionEnd, kCdataClose.size());
    char* const closing = child.content + child.contentLength - gap_of(compaction);
    finish(compaction, end);
    set_match(element, child.content, closing, child.tagLength);
}

} // namespace

int find_opening(std::string_view tag, const char* start, const char* end, const char** found) {
    return tag.empty() ? search_filtered(MarkupFilter(), tag, start, end, found)
                       : search_filtered(OpeningFilter(tag), tag, start, end, found);
}

int FindElement(std::string_view tag, char* start, char* end, XmlElement* element) {
    return find_element(tag, start, end, element, nullptr, nullptr);
}

int find_inner(std::string_view tag, char* start, char* end, XmlElement* element,
               EnclosingElement* enclosing) {
    return find_element(tag, start, end, element, nullptr, enclosing);
}

int find_item(std::string_view tag, char* start, char* end, ReplyItem* item) {
    item->children.isWhole = false;
    return find_element(tag, start, end, item, &item->children, nullptr);
}

void list_children(ReplyItem* item) {
    if (item->contentStart == nullptr) {
        return;
    }
    item->children.count = 0;
    char* const end = item->contentEnd + 1;
    char* markup = nullptr;
    int rc = next_near_markup(item->contentStart, end, &markup);
    while (rc == kOk) {
        rc = add_child(&markup, end, &item->children);
    }
    item->children.isWhole = rc == kNotFound;
}

int find_child(const ReplyItem& item, std::string_view tag, XmlElement* element) {
    const PlainChildren& children = item.children;
    if (!children.isWhole) {
        return item.contentStart != nullptr
                   ? FindElement(tag, item.contentStart, item.contentEnd + 1, element)
                   : int{kNotFound};
    }
    const PlainChild* const last = children.list + children.count;
    const PlainChild* const child = std::find_if(
        children.list, last, [&](const PlainChild& each) { return has_tag(each, tag); });
    if (child == last) {
        return kNotFound;
    }
    set_element(*child, element);
    if (child->section != nullptr) {
        remove_markers(*child, element);
    }
    return kOk;
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
        const int rc = match_element({first, length}, last, end, element, nullptr, nullptr);
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
