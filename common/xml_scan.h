// The steps of a walk over a reply. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "result.h"
#include "xml_reader.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Returns the next byte c in [position, end), or null.
inline const char* next_byte(const char* position, const char* end, char c) {
    return position < end
               ? static_cast<const char*>(memchr(position, c, static_cast<size_t>(end - position)))
               : nullptr;
}

inline char* next_byte(char* position, const char* end, char c) {
    return const_cast<char*>(next_byte(static_cast<const char*>(position), end, c));
}

// Returns the next '<' in [position, end), or null.
inline const char* next_markup(const char* position, const char* end) {
    return next_byte(position, end, '<');
}

inline char* next_markup(char* position, const char* end) {
    return next_byte(position, end, '<');
}

// The last '<' in [start, end), or null.
inline const char* last_markup(const char* start, const char* end) {
    return start < end
               ? static_cast<const char*>(memrchr(start, '<', static_cast<size_t>(end - start)))
               : nullptr;
}

// White space, independent of the locale.
inline bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

inline bool ends_name(char c) {
    return c == '>' || c == '/' || is_blank(c);
}

// Whether a character is a part of a tag's name, which only the characters of ends_name end.
inline bool is_inside_name(const char* start, const char* position) {
    while (position > start && !ends_name(position[-1])) {
        position--;
        if (*position == '<') {
            return true;
        }
    }
    return false;
}

template <typename Word>
bool same_ends(const char* a, const char* b, size_t size) {
    const auto word = [](const char* at) {
        Word loaded;
        memcpy(&loaded, at, sizeof loaded);
        return loaded;
    };
    const size_t last = size - sizeof(Word);
    return word(a) == word(b) && word(a + last) == word(b + last);
}

// As memcmp(), whose call costs more than the comparison of a name.
inline bool same_bytes(const char* a, const char* b, size_t size) {
    if (size > 2 * sizeof(uint64_t)) {
        return memcmp(a, b, size) == 0;
    }
    if (size >= sizeof(uint64_t)) {
        return same_ends<uint64_t>(a, b, size);
    }
    if (size >= sizeof(uint32_t)) {
        return same_ends<uint32_t>(a, b, size);
    }
    return size == 0 || (*a == *b && a[size - 1] == b[size - 1] && a[size / 2] == b[size / 2]);
}

inline bool starts_with(const char* position, const char* end, std::string_view text) {
    return static_cast<size_t>(end - position) >= text.size() &&
           same_bytes(position, text.data(), text.size());
}

inline const char* skip_blanks(const char* position, const char* end) {
    while (position < end && is_blank(*position)) {
        position++;
    }
    return position;
}

inline constexpr std::string_view kCdataOpen = "<![CDATA[";
inline constexpr std::string_view kCdataClose = "]]>";

// Returns the "]]>" of a section whose text begins at position, or null.
inline const char* cdata_end(const char* position, const char* end) {
    return position < end
               ? static_cast<const char*>(memmem(position, static_cast<size_t>(end - position),
                                                 kCdataClose.data(), kCdataClose.size()))
               : nullptr;
}

// Returns whether a document may hold the character with this number.
constexpr bool is_text_character(uint32_t number) {
    return number == '\t' || number == '\n' || number == '\r' ||
           (number >= 0x20 && number < 0xD800) || (number > 0xDFFF && number < 0xFFFE) ||
           (number > 0xFFFF && number <= 0x10FFFF);
}

// One of the five entities, or a reference to the number of a text character.
struct Reference {
    size_t size = 0;        // bytes that it takes in the text; 0 when there is none
    uint32_t character = 0; // that it names
};

// The reference that the '&' at position begins.
Reference reference_at(const char* position, const char* end);

inline bool begins_reference(const char* position, const char* end) {
    return reference_at(position, end).size != 0;
}

// The bytes of a text as they are when its references are resolved.
size_t resolved_length(std::string_view text);

inline constexpr size_t kMaxPlainChildren = 32;

// An element with text alone inside, or with text and one CDATA section that holds no '<'.
struct PlainChild {
    char* tag;
    size_t tagLength;
    char* content; // with the markers of the section
    size_t contentLength;
    char* section;    // its '<', or null
    char* sectionEnd; // its "]]>"
};

// The elements of a content in which there is nothing else but text. In such a content FindElement
// finds the first child of the name.
struct PlainChildren {
    bool isWhole = false; // or the content holds something else, or more of them
    size_t count = 0;
    PlainChild list[kMaxPlainChildren];
};

// An element whose children are known when they are plain.
struct ReplyItem : XmlElement {
    PlainChildren children;
};

// An element whose content the next one is looked for in.
struct EnclosingElement {
    const char* content = nullptr;
    int64_t shallowest = 0; // in the content, no CDATA section is in fewer elements
};

// FindElement for an element in the content of the enclosing one, which then is itself the
// enclosing one: the sections are counted once for both.
int find_inner(std::string_view tag, char* start, char* end, XmlElement* element,
               EnclosingElement* enclosing);

// FindElement, which also lists the element's children.
int find_item(std::string_view tag, char* start, char* end, ReplyItem* item);

// Lists the children in the item's content.
void list_children(ReplyItem* item);

// FindElement in the item's content.
int find_child(const ReplyItem& item, std::string_view tag, XmlElement* element);

inline bool has_tag(const PlainChild& child, std::string_view tag) {
    return child.tagLength == tag.size() && same_bytes(child.tag, tag.data(), tag.size());
}

// The closing tag is at that '<'.
inline void set_match(XmlElement* element, char* content, char* closing, size_t tagLength) {
    element->contentStart = content;
    element->contentEnd = closing - 1;
    element->contentLength = static_cast<uint32_t>(closing - content);
    element->elementEnd = closing + 2 + tagLength;
}

inline void set_element(const PlainChild& child, XmlElement* element) {
    element->tagEnd = child.tag + child.tagLength;
    set_match(element, child.content, child.content + child.contentLength, child.tagLength);
}

// find_child, which first looks at *next, the child after those that were found there; at first 0.
// No tag is asked for twice, so that no child before it has the tag.
inline int find_next_child(const ReplyItem& item, std::string_view tag, XmlElement* element,
                           size_t* next) {
    const PlainChildren& children = item.children;
    if (!children.isWhole || *next == children.count || !has_tag(children.list[*next], tag)) {
        return find_child(item, tag, element);
    }
    const PlainChild& child = children.list[(*next)++];
    if (child.section != nullptr) {
        return find_child(item, tag, element);
    }
    set_element(child, element);
    return kOk;
}

// Finds the '<' of the first opening tag of that name, whether the element is whole or not. Returns
// kOk, kNotFound, or the code of a walk that was broken off.
int find_opening(std::string_view tag, const char* start, const char* end, const char** found);

} // namespace zrp

#pragma GCC visibility pop
