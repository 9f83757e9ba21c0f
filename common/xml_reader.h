// Reader of reply documents: finds elements and attributes in a byte range and converts their text.
//
//  - No document tree and no allocation: a result is a view into the caller's reply or a copy into
//    the caller's buffer. A view lives as long as the reply, and until a later search removes CDATA
//    markers inside the same element.
//  - A range is [start, end), end one past the last byte. Nothing needs a terminating NUL and
//    nothing is read outside the range, whatever stands in it.
//  - Each call costs time linear in its range; every walk steps from one '<' to the next.
//  - The finders write into the reply: markers of a CDATA section that stands directly inside the
//    matched element are taken out. The bytes up to the end of that element close up and blanks
//    fill the room behind its closing tag, so that nothing behind the element moves and nothing is
//    found twice.
//  - Nothing is logged. Any thread may read its own reply.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zrp {

// A matched element. Views into the reply.
struct XmlElement {
    char* tagEnd = nullptr;       // after the name in the opening tag
    char* elementEnd = nullptr;   // the '>' of the closing tag, or of a self-closing tag
    char* contentStart = nullptr; // first content character; null when self-closing
    char* contentEnd = nullptr;   // last content character; null when self-closing
    uint32_t contentLength = 0;   // bytes
};

// A search for an attribute and its result.
struct XmlAttribute {
    const char* searchStart = nullptr;
    const char* searchEnd = nullptr; // one past the last byte
    const char* limit = nullptr;     // when given, the search ends here instead of at searchEnd
    const char* valueStart = nullptr;
    const char* valueEnd = nullptr; // last value character
    uint32_t valueLength = 0;       // bytes
};

inline constexpr size_t kParmNameSize = 4096;
inline constexpr size_t kParmTypeSize = 256;
inline constexpr size_t kErrorTextSize = 4096;
using ErrorText = char[kErrorTextSize];

// What GetStartIndex gives when the list has no further page.
inline constexpr uint32_t kEndOfList = 0xFFFFFFFF;

// The first element of that name in the range. A name matches only as a whole word. Returns 0, or 2
// when there is none or the range ends before its closing tag.
int FindElement(std::string_view tag, char* start, char* end, XmlElement* element);

// The next element of any name; closing tags, comments and declarations are passed over. The name
// is a view into the reply. Returns 0, or 2 when there is none.
int NextElement(char* start, char* end, XmlElement* element, char** name, size_t* nameLength);

// The content of the first such element in the whole reply, not NUL-terminated. Null with length 0
// when there is none, when it is not closed and when it is self-closing.
char* XML_GetTagElement(char* reply, int32_t length, std::string_view tag, uint32_t* contentLength);

// Copies the content of the first such element and a NUL into a buffer of capacity bytes. Returns
// 0, 22 when XML_GetTagElement finds nothing, 75 when it does not fit.
int GetTagString(std::string_view tag, char* reply, int32_t length, int32_t capacity, char* buffer);

// The content of the first such element as a decimal number (the leading digits count; none give
// 0). Returns 0, or 22 when XML_GetTagElement finds nothing.
int GetTagInt(std::string_view tag, char* reply, int32_t length, uint32_t* value);

// The index at which the next page of a list starts; kEndOfList when the reply names none.
void GetStartIndex(char* reply, int32_t length, uint32_t* startIndex);

// The number that the first word of a range holds, with automatic base ("0x" hexadecimal, "0"
// octal). *next, when asked for, is the byte after the word. Returns 0, 22 for an empty range, 2
// for a word of more than 79 characters.
int GetRangeUInt64(const char* start, const char* end, uint64_t* value, const char** next);
int GetRangeUInt32(const char* start, const char* end, uint32_t* value, const char** next);

// The value of an attribute between double quotes. The name is looked for as plain text, without
// word boundaries. Returns 0, or 2 when there is none or its value is not closed.
int GetAttribute(std::string_view name, XmlAttribute* attribute);

// The same for the last attribute of an opening tag whose '>' ends the search: the value ends
// before the two characters that close the tag, whatever quotes it holds.
int GetAttributeToEnd(std::string_view name, XmlAttribute* attribute);

// Reads <name>N</name><value type="T">V</value>. All three outputs are emptied first; name and type
// are cut to their arrays; value has room for valueMax + 1 bytes. Returns 0 (with value or type
// empty when the reply has none), 22 without a name, 12 when the value is longer than valueMax.
int GetNameValueParm(char* element, char* elementEnd, char (&name)[kParmNameSize],
                     char (&type)[kParmTypeSize], char* value, int valueMax);

// The failure that the server reports in a reply: 0 for none, 95 for a write error, 2 for an error
// element that is cut short, else the server's own code (a code that is no number counts as 0).
// errorText may be null; it is emptied first, then gets code and description, or the write error's
// text, cut to its size.
int CheckForError(uint32_t length, const char* reply, ErrorText* errorText);

// Copies text with the five markup characters as entities, without a NUL. *capacity is the room
// and becomes the count written. Stops when fewer than 6 bytes of room are left; room for fewer
// than 6 bytes writes nothing. Returns the count.
int XmlEscape(const char* text, int length, char* buffer, int* capacity);

// The reverse: the five entities become characters, everything else is copied. Stops when the room
// is used up. Returns the count, also in *capacity.
int XmlUnescape(const char* text, int length, char* buffer, int* capacity);

// The '<' of the last </TAG> in the range. Returns 0, or 2 when there is none.
int FindClosingTag(std::string_view tag, const char* start, const char* end, const char** found);

// The '>' of the first <TAG> without attributes that stands in no CDATA section. Returns 0, or 2
// when there is none.
int FindPlainOpenTag(std::string_view tag, const char* start, const char* end, const char** found);

} // namespace zrp
