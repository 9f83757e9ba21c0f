#include "tests/support/reader_drivers.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "tests/support/exact_block.h"
#include "tests/support/reference_finder.h"
#include "tests/support/require.h"

namespace zrp {
namespace {

constexpr std::string_view kTags[] = {
    "a", "name", "value", "parm", "startIndex", "serverStatistics", "description", "volume", ""};

void compare_with_reference(std::string_view tag, std::string_view input) {
    const ExactBlock reply(input);
    const ReferenceMatch expected = reference_find(tag, input);
    XmlElement element;
    const int rc = FindElement(tag, reply.begin(), reply.end(), &element);
    REQUIRE(rc == (expected.found ? kOk : kNotFound));
    if (rc != kOk) {
        REQUIRE(element.tagEnd == nullptr && element.elementEnd == nullptr);
        return;
    }
    require_element(reply, element);
    REQUIRE(expected.selfClosing == (element.contentStart == nullptr));
    REQUIRE(expected.content == std::string_view(element.contentStart, element.contentLength));
    const auto elementEnd = static_cast<size_t>(element.elementEnd - reply.begin());
    REQUIRE(elementEnd == expected.elementEnd - expected.markerBytes);
    // Nothing before or after the element moves, and blanks fill the room of the markers.
    REQUIRE(reply.text().substr(0, expected.markup) == input.substr(0, expected.markup));
    REQUIRE(reply.text().substr(expected.elementEnd + 1) == input.substr(expected.elementEnd + 1));
    REQUIRE(reply.text().substr(elementEnd + 1, expected.markerBytes) ==
            std::string(expected.markerBytes, ' '));
}

// Walks through the elements side by side, and into each.
void walk_elements(const ExactBlock& reply, char* start, char* end, int level) {
    constexpr int kLevels = 3;
    XmlElement element;
    char* name = nullptr;
    size_t nameLength = 0;
    while (NextElement(start, end, &element, &name, &nameLength) == kOk) {
        require_element(reply, element);
        require_view(reply, name, nameLength);
        REQUIRE(name > start && name + nameLength == element.tagEnd);
        if (level < kLevels && element.contentStart != nullptr) {
            walk_elements(reply, element.contentStart, element.contentEnd + 1, level + 1);
        }
        start = element.elementEnd + 1;
    }
}

// Up to its first NUL, and as far as the array has room.
template <size_t Size>
void require_same_text(const char (&text)[Size], const XmlElement& found) {
    const std::string_view content(found.contentStart, found.contentLength);
    const std::string_view whole = content.substr(0, content.find('\0'));
    const size_t length = strlen(text);
    REQUIRE(whole.substr(0, length) == std::string_view(text, length));
    REQUIRE(length == whole.size() || (length > Size - 5 && whole.size() > length));
}

} // namespace

void drive_finder(std::string_view input) {
    for (const std::string_view tag : kTags) {
        compare_with_reference(tag, input);
    }
}

void drive_next_element(std::string_view input) {
    const ExactBlock reply(input);
    walk_elements(reply, reply.begin(), reply.end(), 0);
}

void drive_plain_tags(std::string_view input) {
    const ExactBlock reply(input);
    for (const std::string_view tag : kTags) {
        const char* found = nullptr;
        if (FindClosingTag(tag, reply.begin(), reply.end(), &found) == kOk) {
            require_view(reply, found, tag.size() + 3);
            REQUIRE(std::string_view(found, 2) == "</" && found[2 + tag.size()] == '>');
        }
        if (FindPlainOpenTag(tag, reply.begin(), reply.end(), &found) == kOk) {
            require_view(reply, found, 1);
            REQUIRE(*found == '>' && found[-1 - static_cast<ptrdiff_t>(tag.size())] == '<');
        }
    }
    REQUIRE(reply.text() == input);
}

void drive_strings_and_numbers(std::string_view input) {
    constexpr int kRoom = 8;
    for (const std::string_view tag : kTags) {
        const ExactBlock reply(input);
        uint32_t length = 1;
        const char* content = XML_GetTagElement(reply.begin(), reply.length(), tag, &length);
        if (content == nullptr) {
            REQUIRE(length == 0);
        } else {
            require_view(reply, content, length);
        }
        const ExactBlock untouched(input);
        char text[kRoom];
        const int rc = GetTagString(tag, untouched.begin(), untouched.length(), kRoom, text);
        REQUIRE(rc == (content == nullptr ? kInvalid : length >= kRoom ? kTooLong : kOk));
        REQUIRE(rc != kOk || (text[length] == '\0' && memcmp(text, content, length) == 0));
        uint32_t number = 0;
        const ExactBlock again(input);
        REQUIRE(GetTagInt(tag, again.begin(), again.length(), &number) ==
                (content == nullptr ? kInvalid : kOk));
    }
    const ExactBlock reply(input);
    uint32_t startIndex = 0;
    GetStartIndex(reply.begin(), reply.length(), &startIndex);
}

void drive_range_numbers(std::string_view input) {
    const ExactBlock reply(input);
    const char* start = reply.begin();
    const char* next = nullptr;
    uint64_t wide = 0;
    uint32_t narrow = 0;
    int rc = kOk;
    while ((rc = GetRangeUInt64(start, reply.end(), &wide, &next)) == kOk) {
        require_view(reply, next, 0);
        REQUIRE(next > start);
        REQUIRE(GetRangeUInt32(start, reply.end(), &narrow, nullptr) == kOk);
        REQUIRE(narrow == static_cast<uint32_t>(wide));
        start = next;
    }
    REQUIRE(rc == kInvalid || rc == kNotFound);
}

void drive_attribute(std::string_view input) {
    const ExactBlock reply(input);
    for (const auto read : {GetAttribute, GetAttributeToEnd}) {
        XmlAttribute attribute;
        attribute.searchStart = reply.begin();
        attribute.searchEnd = reply.end();
        if (read(tag::type, &attribute) == kOk) {
            require_view(reply, attribute.valueStart, attribute.valueLength);
            REQUIRE(attribute.valueEnd + 1 == attribute.valueStart + attribute.valueLength);
            REQUIRE(attribute.valueStart[-1] == '"');
        }
    }
}

void drive_name_value_parm(std::string_view input) {
    constexpr int kValueMax = 16;
    const ExactBlock reply(input);
    char name[kParmNameSize];
    char type[kParmTypeSize];
    char value[kValueMax + 1];
    const int rc = GetNameValueParm(reply.begin(), reply.end(), name, type, value, kValueMax);
    REQUIRE(memchr(name, '\0', sizeof name) != nullptr);
    REQUIRE(memchr(type, '\0', sizeof type) != nullptr);
    REQUIRE(memchr(value, '\0', sizeof value) != nullptr);
    // It reads what the finder finds, and leaves the same reply.
    const ExactBlock again(input);
    XmlElement found;
    if (FindElement(tag::name, again.begin(), again.end(), &found) != kOk) {
        REQUIRE(rc == kInvalid && name[0] == '\0' && value[0] == '\0' && type[0] == '\0');
    } else {
        require_same_text(name, found);
        const bool hasValue = FindElement(tag::value, again.begin(), again.end(), &found) == kOk;
        const bool isLong = hasValue && found.contentLength > kValueMax;
        REQUIRE(rc == (isLong ? kNoMemory : kOk));
        REQUIRE(hasValue || (value[0] == '\0' && type[0] == '\0'));
        if (hasValue && !isLong) {
            require_same_text(value, found);
        }
    }
    REQUIRE(reply.text() == again.text());
}

void drive_error_check(std::string_view input) {
    const ExactBlock reply(input);
    ErrorText text;
    const auto length = static_cast<uint32_t>(reply.length());
    const int rc = CheckForError(length, reply.begin(), &text);
    REQUIRE(memchr(text, '\0', sizeof text) != nullptr);
    REQUIRE(CheckForError(length, reply.begin(), nullptr) == rc);
    REQUIRE(reply.text() == input);
}

void drive_escapes(std::string_view input) {
    constexpr int kWorstGrowth = 6;
    const ExactBlock text(input);
    for (const int room : {-1, 5, 6, 13, text.length() * kWorstGrowth + kWorstGrowth}) {
        std::string buffer(static_cast<size_t>(std::max(room, 0)), '#');
        int count = room;
        REQUIRE(XmlEscape(text.begin(), text.length(), buffer.data(), &count) == count);
        REQUIRE(count >= 0 && count <= std::max(room, 0));
        const ExactBlock escaped(std::string_view(buffer).substr(0, static_cast<size_t>(count)));
        REQUIRE(escaped.text().find_first_of("<>\"'") == std::string_view::npos);

        std::string back(static_cast<size_t>(count), '#');
        int backCount = count;
        XmlUnescape(escaped.begin(), escaped.length(), back.data(), &backCount);
        back.resize(static_cast<size_t>(backCount));
        REQUIRE(input.substr(0, back.size()) == back);
        REQUIRE(room <= text.length() * kWorstGrowth || back == input);

        int rawCount = std::max(room, 0);
        XmlUnescape(text.begin(), text.length(), buffer.data(), &rawCount);
        REQUIRE(rawCount >= 0 && rawCount <= std::max(room, 0));
    }
}

} // namespace zrp
