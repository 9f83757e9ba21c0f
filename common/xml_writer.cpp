#include "common/xml_writer.h"

#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "common/tags.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

constexpr size_t kNumberText = 24; // the digits, sign and terminator of any 64-bit number

[[gnu::format(printf, 2, 3)]] int append(XmlDocument& document, const char* format, ...) {
    if (document.failed) {
        return 0;
    }
    const size_t room = document.capacity - document.length;
    char* end = document.text.get() + document.length;
    va_list arguments;
    va_start(arguments, format);
    const int written = vsnprintf(end, room, format, arguments);
    va_end(arguments);
    if (written < 0 || static_cast<size_t>(written) >= room) {
        document.failed = true;
        *end = '\0';
        return 0;
    }
    document.length += static_cast<size_t>(written);
    return written;
}

// The rule for a name from a reply: any '&' is allowed, but nothing that opens or closes an
// element.
bool is_received_name(const char* text) {
    if (text == nullptr) {
        return false;
    }
    for (; *text != '\0'; text++) {
        if (*text == '<' || !is_text_character(static_cast<unsigned char>(*text))) {
            return false;
        }
    }
    return true;
}

bool accept(XmlDocument& document, const char* text, bool (*rule)(const char* text)) {
    if (!rule(text)) {
        document.failed = true;
        document.refused = true;
    }
    return !document.failed;
}

bool accept(XmlDocument& document, const char* text) {
    return accept(document, text, IsSendable);
}

// An attribute ends at its quote.
bool is_sendable_attribute(const char* text) {
    return IsSendable(text) && strchr(text, '"') == nullptr;
}

} // namespace

bool IsSendable(const char* text) {
    if (!is_received_name(text)) {
        return false;
    }
    const char* end = text + strlen(text);
    while ((text = next_byte(text, end, '&')) != nullptr) {
        if (!begins_reference(text++, end)) {
            return false;
        }
    }
    return true;
}

XmlDocument StartDocument(size_t capacity) {
    XmlDocument document;
    document.text.reset(static_cast<char*>(malloc(capacity)));
    document.capacity = capacity;
    document.failed = document.text == nullptr || capacity == 0;
    if (!document.failed) {
        document.text.get()[0] = '\0';
    }
    return document;
}

char* FinishDocument(XmlDocument& document, uint32_t* length) {
    if (document.failed || length == nullptr) {
        errno = document.refused || length == nullptr ? EINVAL : ENOMEM;
        return nullptr;
    }
    *length = static_cast<uint32_t>(document.length);
    return document.text.release();
}

int WriteHead(XmlDocument& document, const char* outer, const char* command) {
    return append(document, "<%s pid=\"%d\"><%s>\n", outer, getpid(), command);
}

int WriteTrailer(XmlDocument& document, const char* command, const char* outer) {
    return append(document, "\n</%s></%s>", command, outer);
}

int WriteChildless(XmlDocument& document, const char* outer, const char* command) {
    return append(document, "<%s pid=\"%d\"><%s/></%s>", outer, getpid(), command, outer);
}

int WriteTextElement(XmlDocument& document, const char* tag, const char* text) {
    return accept(document, text) ? append(document, "<%s>%s</%s>", tag, text, tag) : 0;
}

int WriteReceivedName(XmlDocument& document, const char* tag, const char* text) {
    return accept(document, text, is_received_name)
               ? append(document, "<%s>%s</%s>", tag, text, tag)
               : 0;
}

int WriteIntElement(XmlDocument& document, const char* tag, int32_t value) {
    return append(document, "<%s>%" PRId32 "</%s>", tag, value, tag);
}

int WriteUIntElement(XmlDocument& document, const char* tag, uint32_t value) {
    return append(document, "<%s>%" PRIu32 "</%s>", tag, value, tag);
}

int WriteHexElement(XmlDocument& document, const char* tag, uint32_t value) {
    return append(document, "<%s>0x%" PRIx32 "</%s>", tag, value, tag);
}

int WriteEmptyElement(XmlDocument& document, const char* tag) {
    return append(document, "<%s/>", tag);
}

int WriteOpenGroup(XmlDocument& document, const char* tag) {
    return append(document, "<%s>", tag);
}

int WriteCloseGroup(XmlDocument& document, const char* tag) {
    return append(document, "</%s>", tag);
}

int WriteNumberedParameter(XmlDocument& document, const char* tag, int index, const char* text) {
    return accept(document, text) ? append(document, "<%s%d>%s</%s>\n", tag, index, text, tag) : 0;
}

int WriteParmString(XmlDocument& document, const char* name, const char* type, const char* value) {
    if (!accept(document, name) || !accept(document, type, is_sendable_attribute) ||
        !accept(document, value)) {
        return 0;
    }
    return append(document, "<%s><%s>%s</%s><%s type=\"%s\">%s</%s></%s>\n", tag::parm, tag::name,
                  name, tag::name, tag::value, type, value, tag::value, tag::parm);
}

int WriteParmTypedUInt(XmlDocument& document, const char* name, const char* type, uint32_t value) {
    char text[kNumberText];
    snprintf(text, sizeof text, "%" PRIu32, value);
    return WriteParmString(document, name, type, text);
}

int WriteParmUInt(XmlDocument& document, const char* name, uint32_t value) {
    return WriteParmTypedUInt(document, name, value_type::unsignedInt, value);
}

int WriteParmInt(XmlDocument& document, const char* name, int32_t value) {
    char text[kNumberText];
    snprintf(text, sizeof text, "%" PRId32, value);
    return WriteParmString(document, name, value_type::int_, text);
}

int WriteParmBool(XmlDocument& document, const char* name, int value) {
    return WriteParmString(document, name, value_type::boolean, value != 0 ? "1" : "0");
}

int WriteParmULong(XmlDocument& document, const char* name, uint64_t value) {
    char text[kNumberText];
    snprintf(text, sizeof text, "%" PRIu64, value);
    return WriteParmString(document, name, value_type::unsignedLong, text);
}

int WriteParmLong(XmlDocument& document, const char* name, int64_t value) {
    char text[kNumberText];
    snprintf(text, sizeof text, "%" PRId64, value);
    return WriteParmString(document, name, value_type::long_, text);
}

} // namespace zrp
