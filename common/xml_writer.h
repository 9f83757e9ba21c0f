// Writers of request documents.
//
// A builder starts a document of a fixed size, appends to it with the writers below and takes the
// text with FinishDocument:
//
//     XmlDocument document = StartDocument(256);
//     WriteHead(document, tag::zrpConsoleRequest, tag::serverStatistics);
//     WriteIntElement(document, tag::versionTag, 1);
//     WriteTrailer(document, tag::serverStatistics, tag::zrpConsoleRequest);
//     return FinishDocument(document, length);
//
// Every write is bounded: a document that does not fit, or that got no memory, finishes as null.
// Each writer returns the number of characters that it appended, 0 when they do not fit. Any thread
// may call the writers.
//
// Text from outside cannot break a document: a text that IsSendable refuses is not written, and
// its document finishes as null with errno EINVAL; a type must not hold a '"' either. Nothing is
// escaped, because a name from a reply is sent back as the server wrote it, with its entities. Pass
// plain text that may hold markup characters through XmlEscape first.
//
// This rule holds for every text argument of a builder and of an operation, with one exception: a
// request that only asks about a name from a reply (the state of a volume, its mount point, a
// setting) writes the name with WriteReceivedName, which accepts any '&', since the server knows
// the name in no other form.
#pragma once
#include "cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "heap_text.h"

namespace zrp {

struct XmlDocument {
    HeapText text;        // NUL-terminated; null without memory
    size_t capacity = 0;  // bytes, including the terminator
    size_t length = 0;    // characters written so far
    bool failed = false;  // refused, no memory, or full: nothing more is written
    bool refused = false; // a text was not sendable
};

// Returns whether a document may hold the text: it is not null and has no '<', no control character
// except tab, line feed and carriage return, and no '&' except at the start of a reference. A
// reference is one of the five entities (&amp; &lt; &gt; &quot; &apos;), or &#DIGITS; or &#xHEX;
// with the number of a character that a document may hold.
bool IsSendable(const char* text);

// Allocates a document of capacity bytes, including the terminator.
XmlDocument StartDocument(size_t capacity);

// Hands over the text, malloc'ed, and its length without the terminator. Returns null and leaves
// the length untouched when a step failed; errno is then EINVAL for a refused text or a null
// length, else ENOMEM.
char* FinishDocument(XmlDocument& document, uint32_t* length);

// <OUTER pid="N"><COMMAND> and a newline, with the id of this process.
int WriteHead(XmlDocument& document, const char* outer, const char* command);

// A newline and </COMMAND></OUTER>. The newline is there even without children.
int WriteTrailer(XmlDocument& document, const char* command, const char* outer);

// <OUTER pid="N"><COMMAND/></OUTER>, a whole document.
int WriteChildless(XmlDocument& document, const char* outer, const char* command);

// <TAG>text</TAG>
int WriteTextElement(XmlDocument& document, const char* tag, const char* text);
int WriteReceivedName(XmlDocument& document, const char* tag, const char* text); // see the top
int WriteIntElement(XmlDocument& document, const char* tag, int32_t value);
int WriteUIntElement(XmlDocument& document, const char* tag, uint32_t value);
int WriteHexElement(XmlDocument& document, const char* tag, uint32_t value); // 0x, lower case

int WriteEmptyElement(XmlDocument& document, const char* tag); // <TAG/>
int WriteOpenGroup(XmlDocument& document, const char* tag);    // <TAG>
int WriteCloseGroup(XmlDocument& document, const char* tag);   // </TAG>

// <TAGn>text</TAG> and a newline. Compatibility: only the opening tag has the index.
int WriteNumberedParameter(XmlDocument& document, const char* tag, int index, const char* text);

// One line <parm><name>NAME</name><value type="TYPE">VALUE</value></parm> and a newline.
int WriteParmString(XmlDocument& document, const char* name, const char* type, const char* value);
int WriteParmTypedUInt(XmlDocument& document, const char* name, const char* type, uint32_t value);
int WriteParmUInt(XmlDocument& document, const char* name, uint32_t value);
int WriteParmInt(XmlDocument& document, const char* name, int32_t value);
int WriteParmBool(XmlDocument& document, const char* name, int value); // 1 for any non-zero value
int WriteParmULong(XmlDocument& document, const char* name, uint64_t value);
int WriteParmLong(XmlDocument& document, const char* name, int64_t value);

} // namespace zrp
