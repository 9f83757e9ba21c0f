// Reader of reply documents: finds elements and attributes in a byte range and converts their text.
//
//  - There is no document tree and no allocation: a result is a view into the caller's reply or a
//    copy in the caller's buffer. A view is valid as long as the reply, and until a later search
//    removes CDATA markers inside the same element.
//  - Nothing needs a terminating NUL and nothing is read outside the range, whatever it holds.
//  - Each call takes time linear in its range: every walk goes from one '<' to the next.
//  - The finders write into the reply: they remove the markers of CDATA sections directly inside
//  the
//    matched element. The following bytes up to the end of that element move up, and blanks fill
//    the gap after its closing tag, so that nothing after the element moves and nothing is found
//    twice.
//  - Nothing is logged. Different threads may read different replies.
//  - A walk through more than a megabyte can be broken off as an exchange can: the functions that
//    return a result code then return ECANCELED after IPCServInterrupt (transport.h), and ETIMEDOUT
//    when the time of an ExchangeLimitsGuard is up; the scanners of requests/ pass these on.
#pragma once
#include "cplusplus.h"

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
    const char* limit = nullptr;     // if not null, the search ends here instead of at searchEnd
    const char* valueStart = nullptr;
    const char* valueEnd = nullptr; // last value character
    uint32_t valueLength = 0;       // bytes
};

inline constexpr size_t kParmNameSize = 4096;
inline constexpr size_t kParmTypeSize = 256;
inline constexpr size_t kErrorTextSize = 4096;
using ErrorText = char[kErrorTextSize];

// The start index that GetStartIndex stores when the list has no further page.
inline constexpr uint32_t kEndOfList = 0xFFFFFFFF;

// Finds the first element of that name in the range. The name must match as a whole word. Returns
// kOk, or kNotFound when there is none or the range ends before its closing tag.
int FindElement(std::string_view tag, char* start, char* end, XmlElement* element);

// Finds the next element of any name, skipping closing tags, comments and declarations. The name is
// a view into the reply. Returns kOk or kNotFound.
int NextElement(char* start, char* end, XmlElement* element, char** name, size_t* nameLength);

// Returns the content of the first such element in the whole reply, not NUL-terminated. Returns
// null and length 0 when there is none, or when it is not closed or self-closing.
char* XML_GetTagElement(char* reply, int32_t length, std::string_view tag, uint32_t* contentLength);

// Copies the content of the first such element and a NUL into a buffer of capacity bytes. Returns
// kOk, kInvalid when XML_GetTagElement finds nothing, or kTooLong when the content does not fit.
int GetTagString(std::string_view tag, char* reply, int32_t length, int32_t capacity, char* buffer);

// Reads the content of the first such element as a decimal number: its leading digits, 0 without
// any. Returns kOk, or kInvalid when XML_GetTagElement finds nothing.
int GetTagInt(std::string_view tag, char* reply, int32_t length, uint32_t* value);

// Stores the index at which the next page of a list starts, kEndOfList when the reply has none.
void GetStartIndex(char* reply, int32_t length, uint32_t* startIndex);

// Reads the first word of the range as a number with automatic base ("0x" hexadecimal, "0" octal).
// *next becomes the byte after the word; next may be null. Returns kOk, kInvalid for an empty
// range, or kNotFound for a word of more than 79 characters.
int GetRangeUInt64(const char* start, const char* end, uint64_t* value, const char** next);
int GetRangeUInt32(const char* start, const char* end, uint32_t* value, const char** next);

// Finds the value, in double quotes, of an attribute. The name is searched for as plain text and
// may match inside a longer word. Returns kOk, or kNotFound when there is none or its value is not
// closed.
int GetAttribute(std::string_view name, XmlAttribute* attribute);

// The same for the last attribute of an opening tag, with the search ending after its '>': the
// value ends before the last two characters of the search, whatever quotes it holds.
int GetAttributeToEnd(std::string_view name, XmlAttribute* attribute);

// Reads <name>N</name><value type="T">V</value>. All three outputs are emptied first. Name and type
// are cut to their arrays; value has room for valueMax + 1 bytes. Returns kOk (value and type are
// empty when the reply has none), kInvalid without a name, or kNoMemory when the value is longer
// than valueMax.
int GetNameValueParm(char* element, char* elementEnd, char (&name)[kParmNameSize],
                     char (&type)[kParmTypeSize], char* value, int valueMax);

// Returns the error that the server reports in a reply: kOk for none, kWriteError, kNotFound for an
// error element that is truncated, else the server's own code. errorText may be null; it is emptied
// first, and receives the code and the description, or the text of the write error, cut to its
// size.
//
// Compatibility: a code that is not a number counts as 0, no error.
int CheckForError(uint32_t length, const char* reply, ErrorText* errorText);

// Copies text with the five markup characters as entities, without a NUL. *capacity is the size of
// the buffer and becomes the number of bytes written, which is also returned. Stops when fewer than
// 6 bytes of room are left; a buffer of fewer than 6 bytes stays empty.
int XmlEscape(const char* text, int length, char* buffer, int* capacity);

// The reverse of XmlEscape: the five entities become characters, everything else is copied. Stops
// when the buffer is full.
int XmlUnescape(const char* text, int length, char* buffer, int* capacity);

// Finds the '<' of the last </TAG> in the range. Returns kOk or kNotFound.
int FindClosingTag(std::string_view tag, const char* start, const char* end, const char** found);

// Finds the '>' of the first <TAG> without attributes outside CDATA sections. Returns kOk or
// kNotFound.
int FindPlainOpenTag(std::string_view tag, const char* start, const char* end, const char** found);

} // namespace zrp
