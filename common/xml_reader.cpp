// Getters of the reply reader: texts, numbers, attributes and the server's error.

#include "common/xml_reader.h"

#include <algorithm>
#include <cstdlib>

#include "common/bounded_copy.h"
#include "common/range_number.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

constexpr int kAutomaticBase = 0;
constexpr size_t kNumberWordSize = 80;

// Names that occur only in the error reports of replies.
constexpr std::string_view kResultOpening = "<result value=";
constexpr std::string_view kDescriptionTag = "description";
constexpr std::string_view kWriteResultTag = "writeResult";
constexpr std::string_view kErrorTag = "error";

using NumberWord = char[kNumberWordSize];

// Copies the first word of a range. Returns kOk, kInvalid for an empty range, or kNotFound for a
// word that is too long.
int take_word(const char* start, const char* end, NumberWord& word, const char** next) {
    const char* first = skip_blanks(start, end);
    if (first >= end) {
        return kInvalid;
    }
    const char* last = first;
    while (last < end && !is_blank(*last)) {
        last++;
    }
    const auto length = static_cast<size_t>(last - first);
    if (length >= kNumberWordSize) {
        return kNotFound;
    }
    copy_cut(word, first, length);
    if (next != nullptr) {
        *next = last;
    }
    return kOk;
}

// The content of the first such element. Returns kOk, kInvalid when there is none or it is
// self-closing, or the code of a search that was broken off; the content is then null.
int find_content(char* reply, int32_t length, std::string_view tag, std::string_view* content) {
    XmlElement element;
    const int rc = reply == nullptr
                       ? int{kNotFound}
                       : FindElement(tag, reply, reply + std::max(length, 0), &element);
    if (rc != kOk || element.contentStart == nullptr) {
        return failure_of(rc, kInvalid);
    }
    *content = {element.contentStart, element.contentLength};
    return kOk;
}

// As next_byte(), for a byte that mostly is too near for a call to pay.
const char* next_near_byte(const char* position, const char* end, char c) {
    constexpr ptrdiff_t kNear = 16;
    const char* const stop = position + std::min(std::max<ptrdiff_t>(end - position, 0), kNear);
    const char* const found = std::find(position, stop, c);
    return found < stop ? found : next_byte(stop, end, c);
}

// Returns the first place of the text, which is not empty, in [position, end), or null. The ranges
// of attributes are too short for memmem() to pay.
const char* find_text(std::string_view text, const char* position, const char* end) {
    const char* at = next_near_byte(position, end, text.front());
    while (at != nullptr && !starts_with(at, end, text)) {
        at = next_near_byte(at + 1, end, text.front());
    }
    return at;
}

// Finds the first byte of the attribute's value. Returns kOk, kNotFound when the attribute is not
// in the range, or the code of a search that was broken off.
int find_attribute_value(std::string_view name, const char* start, const char* end,
                         const char** value) {
    Lookout lookout(start);
    for (const char* at = find_text(name, skip_blanks(start, end), end); at != nullptr;
         at = find_text(name, at + 1, end)) {
        if (const int rc = lookout.at(at); rc != kOk) {
            return rc;
        }
        const char* sign = skip_blanks(at + name.size(), end);
        if (sign == end || *sign != '=') {
            continue;
        }
        const char* quote = skip_blanks(sign + 1, end);
        if (quote != end && *quote == '"') {
            *value = quote + 1;
            return kOk;
        }
    }
    return kNotFound;
}

const char* search_end(const XmlAttribute& attribute) {
    return attribute.limit != nullptr ? attribute.limit : attribute.searchEnd;
}

void set_value(XmlAttribute* attribute, const char* start, const char* end) {
    attribute->valueStart = start;
    attribute->valueEnd = end - 1;
    attribute->valueLength = static_cast<uint32_t>(end - start);
}

// The value of the first `<result value="...">`. An opening is recognised by the text before a
// double quote; after any other quote the search goes on at the next '>'.
struct ResultValue {
    int code = kNotFound; // kOk; kNotFound; or that of a search which was broken off
    const char* start = nullptr;
    const char* end = nullptr; // null when the value is not closed
};

ResultValue find_result_value(const char* reply, const char* end) {
    constexpr auto kOpeningSize = static_cast<ptrdiff_t>(kResultOpening.size());
    Lookout lookout(reply);
    const char* quote = next_byte(reply, end, '"');
    while (quote != nullptr) {
        if (const int rc = lookout.at(quote); rc != kOk) {
            return {.code = rc};
        }
        if (quote - reply >= kOpeningSize &&
            starts_with(quote - kOpeningSize, quote, kResultOpening)) {
            return {kOk, quote + 1, next_byte(quote + 1, end, '"')};
        }
        const char* close = next_byte(quote, end, '>');
        quote = close == nullptr ? nullptr : next_byte(close, end, '"');
    }
    return {};
}

// Returns the text between the '>' of a plain tag and the next '<'.
std::string_view text_after(const char* tagClose, const char* end) {
    const char* start = tagClose + 1;
    const char* stop = next_markup(start, end);
    return {start, static_cast<size_t>((stop == nullptr ? end : stop) - start)};
}

void set_error_text(ErrorText* errorText, std::string_view text) {
    if (errorText != nullptr) {
        copy_cut(*errorText, text.data(), text.size());
    }
}

void append_error_text(ErrorText* errorText, std::string_view text) {
    if (errorText != nullptr) {
        const size_t used = strlen(*errorText);
        copy_cut(*errorText + used, kErrorTextSize - used, text.data(), text.size());
    }
}

int report_result(const ResultValue& result, const char* end, ErrorText* errorText) {
    if (result.end == nullptr) {
        return kNotFound;
    }
    const std::string_view value(result.start, static_cast<size_t>(result.end - result.start));
    if (value == "0") {
        return kOk;
    }
    set_error_text(errorText, value);
    const char* description = nullptr;
    if (FindPlainOpenTag(kDescriptionTag, result.end, end, &description) == kOk) {
        append_error_text(errorText, " ");
        append_error_text(errorText, text_after(description, end));
    }
    return static_cast<int>(leading_decimal(value));
}

int report_write_result(const char* reply, const char* end, ErrorText* errorText) {
    const char* writeResult = nullptr;
    if (const int rc = FindPlainOpenTag(kWriteResultTag, reply, end, &writeResult); rc != kOk) {
        return failure_of(rc, kOk);
    }
    const char* error = nullptr;
    if (FindPlainOpenTag(kErrorTag, writeResult, end, &error) == kOk) {
        set_error_text(errorText, text_after(error, end));
    }
    return kWriteError;
}

} // namespace

char* XML_GetTagElement(char* reply, int32_t length, std::string_view tag,
                        uint32_t* contentLength) {
    std::string_view content;
    (void)find_content(reply, length, tag, &content);
    *contentLength = static_cast<uint32_t>(content.size());
    return const_cast<char*>(content.data());
}

int GetTagString(std::string_view tag, char* reply, int32_t length, int32_t capacity,
                 char* buffer) {
    std::string_view content;
    const int rc = find_content(reply, length, tag, &content);
    if (rc != kOk) {
        return rc;
    }
    if (static_cast<int64_t>(content.size()) + 1 > capacity) {
        return kTooLong;
    }
    copy_cut(buffer, static_cast<size_t>(capacity), content.data(), content.size());
    return kOk;
}

int GetTagInt(std::string_view tag, char* reply, int32_t length, uint32_t* value) {
    std::string_view content;
    const int rc = find_content(reply, length, tag, &content);
    if (rc == kOk) {
        *value = static_cast<uint32_t>(leading_decimal(content));
    }
    return rc;
}

void GetStartIndex(char* reply, int32_t length, uint32_t* startIndex) {
    if (GetTagInt(tag::startIndex, reply, length, startIndex) != kOk) {
        *startIndex = kEndOfList;
    }
}

int GetRangeUInt64(const char* start, const char* end, uint64_t* value, const char** next) {
    NumberWord word;
    const int rc = take_word(start, end, word, next);
    if (rc == kOk) {
        *value = strtoull(word, nullptr, kAutomaticBase);
    }
    return rc;
}

int GetRangeUInt32(const char* start, const char* end, uint32_t* value, const char** next) {
    NumberWord word;
    const int rc = take_word(start, end, word, next);
    if (rc == kOk) {
        *value = static_cast<uint32_t>(strtoul(word, nullptr, kAutomaticBase));
    }
    return rc;
}

int GetAttribute(std::string_view name, XmlAttribute* attribute) {
    const char* end = search_end(*attribute);
    const char* start = nullptr;
    if (const int rc = find_attribute_value(name, attribute->searchStart, end, &start); rc != kOk) {
        return rc;
    }
    const char* quote = next_near_byte(start, end, '"');
    if (quote == nullptr) {
        return kNotFound;
    }
    set_value(attribute, start, quote);
    return kOk;
}

int GetAttributeToEnd(std::string_view name, XmlAttribute* attribute) {
    constexpr ptrdiff_t kTagClosing = 2; // the value's quote and the tag's '>'
    const char* end = search_end(*attribute);
    const char* start = nullptr;
    if (const int rc = find_attribute_value(name, attribute->searchStart, end, &start); rc != kOk) {
        return rc;
    }
    if (end - start < kTagClosing) {
        return kNotFound;
    }
    set_value(attribute, start, end - kTagClosing);
    return kOk;
}

int GetNameValueParm(char* element, char* elementEnd, char (&name)[kParmNameSize],
                     char (&type)[kParmTypeSize], char* value, int valueMax) {
    name[0] = '\0';
    type[0] = '\0';
    value[0] = '\0';
    ReplyItem item;
    if (element < elementEnd) {
        item.contentStart = element;
        item.contentEnd = elementEnd - 1;
        list_children(&item);
    }
    XmlElement found;
    size_t next = 0;
    if (const int rc = find_next_child(item, tag::name, &found, &next); rc != kOk) {
        return failure_of(rc, kInvalid);
    }
    copy_cut(name, found.contentStart, found.contentLength);
    if (const int rc = find_next_child(item, tag::value, &found, &next); rc != kOk) {
        return failure_of(rc, kOk);
    }
    if (found.contentLength > static_cast<uint32_t>(valueMax)) {
        return kNoMemory;
    }
    copy_cut(value, static_cast<size_t>(valueMax) + 1, found.contentStart, found.contentLength);
    XmlAttribute attribute;
    attribute.searchStart = found.tagEnd;
    attribute.searchEnd =
        found.contentStart != nullptr ? found.contentStart - 1 : found.elementEnd; // at the '>'
    if (GetAttribute(tag::type, &attribute) == kOk) {
        copy_cut(type, attribute.valueStart, attribute.valueLength);
    }
    return kOk;
}

int CheckForError(uint32_t length, const char* reply, ErrorText* errorText) {
    set_error_text(errorText, "");
    const char* end = reply + length;
    const ResultValue result = find_result_value(reply, end);
    if (result.code != kOk && result.code != kNotFound) {
        return result.code;
    }
    return result.code == kOk ? report_result(result, end, errorText)
                              : report_write_result(reply, end, errorText);
}

} // namespace zrp
