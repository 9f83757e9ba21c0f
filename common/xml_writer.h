// Writers of request documents.
//
// A builder starts a document of a fixed room, appends with the writers below and hands the text
// over with finish_document:
//
//     XmlDocument document = start_document(256);
//     WriteHead(document, tag::zrpConsoleRequest, tag::serverStatistics);
//     WriteIntElement(document, tag::versionTag, 1);
//     WriteTrailer(document, tag::serverStatistics, tag::zrpConsoleRequest);
//     return finish_document(document, length);
//
// Every write is bounded by the room: a document that does not fit, or that got no memory, finishes
// as null. Each writer returns the number of characters that it appended, 0 when they did not fit.
// The writers use only their arguments, getpid() and the tags; any thread may call them.
//
// A text from outside can never break a document: one that is_sendable refuses is not written, and
// its document finishes as null with errno EINVAL. Nothing is escaped, since a name that came in a
// reply is sent back in the form that the server gave it, its entities included; whoever has plain
// text with markup characters passes it through XmlEscape first. This one rule holds for every text
// argument of a builder and of an operation, with one exception: what only asks about a name out of
// a reply (the state of a volume, its mount point, a setting) writes that name with
// WriteReceivedName, which lets an '&' of any kind pass. A server that wrote such a name knows it
// by no other.
#pragma once

#include <cstddef>
#include <cstdint>

#include "heap_text.h"

namespace zrp {

struct XmlDocument {
    HeapText text;        // NUL-terminated; null without memory
    size_t capacity = 0;  // bytes, the terminator included
    size_t length = 0;    // characters written so far
    bool failed = false;  // refused, no memory, or did not fit: nothing more is written
    bool refused = false; // a text was not sendable
};

// Whether a text may stand in a document: it is not null and holds no '<', no control character
// other than tab, line feed and carriage return, and no '&' but one that begins a reference: one of
// the five entities (&amp; &lt; &gt; &quot; &apos;), or &#DIGITS; or &#xHEX; with the number of a
// character that may itself stand in a document.
bool is_sendable(const char* text);

// Allocates the room for a document, its terminator included.
XmlDocument start_document(size_t capacity);

// Gives up the text, malloc'ed, and its length without the terminator. Null, with the length
// untouched, when anything failed on the way; errno is then EINVAL (22) for a refused text and a
// null length, else ENOMEM (12).
char* finish_document(XmlDocument& document, uint32_t* length);

// <OUTER pid="N"><COMMAND> and a newline, with this process's id.
int WriteHead(XmlDocument& document, const char* outer, const char* command);

// A newline and </COMMAND></OUTER>. Written also when there were no children.
int WriteTrailer(XmlDocument& document, const char* command, const char* outer);

// <OUTER pid="N"><COMMAND/></OUTER>, a whole document.
int WriteChildless(XmlDocument& document, const char* outer, const char* command);

// <TAG>text</TAG>. The text is written as it stands.
int WriteTextElement(XmlDocument& document, const char* tag, const char* text);
int WriteReceivedName(XmlDocument& document, const char* tag, const char* text); // see the top
int WriteIntElement(XmlDocument& document, const char* tag, int32_t value);
int WriteUIntElement(XmlDocument& document, const char* tag, uint32_t value);
int WriteHexElement(XmlDocument& document, const char* tag, uint32_t value); // 0x, lower case

int WriteEmptyElement(XmlDocument& document, const char* tag); // <TAG/>
int WriteOpenGroup(XmlDocument& document, const char* tag);    // <TAG>
int WriteCloseGroup(XmlDocument& document, const char* tag);   // </TAG>

// <TAGn>text</TAG> and a newline. Only the opening tag carries the index: the storage daemon
// expects it so.
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
