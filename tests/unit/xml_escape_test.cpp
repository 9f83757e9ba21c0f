#include <climits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/xml_reader.h"
#include "common/xml_scan.h"
#include "tests/support/exact_block.h"

namespace zrp::xml_escape_test {
namespace {

constexpr size_t kBufferSize = 64;

// Converts a text in an exact block into a buffer of exactly the capacity.
std::string run(int (*routine)(const char*, int, char*, int*), std::string_view text, int room) {
    const ExactBlock source(text);
    const ExactBlock buffer(std::string(static_cast<size_t>(room), '#'));
    int count = room;
    const int written = routine(source.begin(), source.length(), buffer.begin(), &count);
    EXPECT_EQ(written, count);
    return std::string(buffer.text().substr(0, static_cast<size_t>(count)));
}

std::string escaped(std::string_view text, int room = kBufferSize) {
    return run(XmlEscape, text, room);
}

std::string unescaped(std::string_view text, int room = kBufferSize) {
    return run(XmlUnescape, text, room);
}

struct EscapeCase {
    std::string_view plain;
    std::string_view escaped;
};

constexpr EscapeCase kCases[] = {
    {"", ""},
    {"plain text", "plain text"},
    {"\"&'<>", "&quot;&amp;&apos;&lt;&gt;"},
    {"a<b>c", "a&lt;b&gt;c"},
    {"&lt;", "&amp;lt;"},
    {"\xC3\xA4\n", "\xC3\xA4\n"},
};

TEST(XmlEscape, ReplacesTheFiveMarkupCharacters) {
    for (const EscapeCase& c : kCases) {
        EXPECT_EQ(escaped(c.plain), c.escaped);
    }
}

TEST(XmlEscape, CopiesANulLikeAnyByte) {
    EXPECT_EQ(escaped(std::string_view("a\0b", 3)), std::string_view("a\0b", 3));
}

TEST(XmlEscape, AddsNoNul) {
    char buffer[] = "########";
    int count = sizeof buffer;
    EXPECT_EQ(XmlEscape("ab", 2, buffer, &count), 2);
    EXPECT_STREQ(buffer, "ab######");
}

TEST(XmlEscape, StopsWhenFewerThanSixBytesAreLeft) {
    EXPECT_EQ(escaped("abcdef", 6), "a");
    EXPECT_EQ(escaped("abcdef", 8), "abc");
    EXPECT_EQ(escaped("\"\"\"", 6), "&quot;");
    EXPECT_EQ(escaped("\"\"\"", 11), "&quot;");
    EXPECT_EQ(escaped("\"\"\"", 12), "&quot;&quot;");
}

TEST(XmlEscape, WritesNothingWithoutTextOrRoom) {
    for (const int room : {5, 1, 0, -1, INT_MIN}) {
        int count = room;
        EXPECT_EQ(XmlEscape("abc", 3, nullptr, &count), 0) << room;
        EXPECT_EQ(count, 0) << room;
    }
    for (const int length : {0, -1, INT_MIN}) {
        int count = kBufferSize;
        EXPECT_EQ(XmlEscape("abc", length, nullptr, &count), 0) << length;
        EXPECT_EQ(count, 0) << length;
    }
}

TEST(XmlUnescape, ReversesTheFiveEntities) {
    for (const EscapeCase& c : kCases) {
        EXPECT_EQ(unescaped(c.escaped), c.plain);
    }
}

TEST(XmlUnescape, CopiesEverythingElse) {
    for (const std::string_view text :
         {"&", "&;", "&am", "&amp", "&AMP;", "&nbsp;", "&#38;", "&l&"}) {
        EXPECT_EQ(unescaped(text), text);
    }
}

TEST(XmlUnescape, UnescapesOnce) {
    EXPECT_EQ(unescaped("&amp;lt;"), "&lt;");
}

TEST(XmlUnescape, StopsWhenTheBufferIsFull) {
    EXPECT_EQ(unescaped("a&lt;b", 2), "a<");
    EXPECT_EQ(unescaped("abc", 0), "");
}

TEST(XmlUnescape, WritesNothingWithoutTextOrRoom) {
    for (const int room : {0, -1, INT_MIN}) {
        int count = room;
        EXPECT_EQ(XmlUnescape("abc", 3, nullptr, &count), 0);
        EXPECT_EQ(count, 0);
    }
    int count = kBufferSize;
    EXPECT_EQ(XmlUnescape("abc", INT_MIN, nullptr, &count), 0);
    EXPECT_EQ(count, 0);
}

TEST(BeginsReference, ReadsNothingAfterItsRange) {
    for (const std::string_view text : {"&amp;", "&#65;", "&#x41;"}) {
        for (size_t size = 0; size <= text.size(); size++) {
            EXPECT_EQ(begins_reference(text.data(), text.data() + size), size == text.size())
                << text.substr(0, size);
        }
    }
}

} // namespace
} // namespace zrp::xml_escape_test
