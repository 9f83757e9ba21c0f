#include "common/bounded_copy.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/exact_block.h"

namespace zrp::bounded_copy_test {
namespace {

struct CutCase {
    std::string_view text;
    size_t limit;
    size_t cut;
};

TEST(Utf8Cut, SplitsNoSequence) {
    constexpr CutCase kCases[] = {
        {"", 0, 0},
        {"abc", 3, 3},
        {"abc", 5, 3},
        {"abc", 2, 2},
        {"abc", 0, 0},
        {"a\xC3\xA4", 2, 1},
        {"a\xC3\xA4", 3, 3},
        {"\xC3\xA4", 1, 0},
        {"a\xE2\x82\xAC", 2, 1},
        {"a\xE2\x82\xAC", 3, 1},
        {"\xF0\x9F\x98\x80", 3, 0},
        {"\xF0\x9F\x98\x80"
         "b",
         4, 4},
        {"\xC3\xA4\xC3\xB6", 2, 2},
    };
    for (const CutCase& c : kCases) {
        const ExactBlock text(c.text);
        EXPECT_EQ(utf8_cut(text.begin(), c.text.size(), c.limit), c.cut)
            << testing::PrintToString(c.text) << " limit " << c.limit;
    }
}

TEST(Utf8Cut, CutsTextThatIsNotUtf8AtTheLimit) {
    constexpr CutCase kCases[] = {
        {"ab\xA9", 2, 2},                   // a Latin-1 letter after ASCII ones
        {"\x80\x80\x80\x80\x80\x80", 4, 4}, // no byte that can begin a sequence
        {"\xC3\xA4\xA4", 2, 2},             // one byte more than the sequence has
        {"\xE2\x82\xAC\x80", 3, 3},
        {"\xFF\x80", 1, 1}, // no sequence begins like this
    };
    for (const CutCase& c : kCases) {
        const ExactBlock text(c.text);
        EXPECT_EQ(utf8_cut(text.begin(), c.text.size(), c.limit), c.cut)
            << testing::PrintToString(c.text) << " limit " << c.limit;
    }
}

TEST(CopyCut, AlwaysEndsInANul) {
    char one[1] = {'#'};
    copy_cut(one, "abc");
    EXPECT_STREQ(one, "");
    char four[4];
    copy_cut(four, "abcdef");
    EXPECT_STREQ(four, "abc");
    copy_cut(four, "ab");
    EXPECT_STREQ(four, "ab");
    copy_cut(four, "xyz", 1);
    EXPECT_STREQ(four, "x");
}

TEST(CopyCut, CutsBeforeACharacterThatDoesNotFit) {
    char text[4];
    copy_cut(text, "ab\xE2\x82\xAC");
    EXPECT_STREQ(text, "ab");
}

TEST(CopyCut, AcceptsANullTextOfLengthZero) {
    char text[4] = "abc";
    copy_cut(text, nullptr, 0);
    EXPECT_STREQ(text, "");
}

TEST(CopyCut, NeedsNoTerminatorInItsSource) {
    const ExactBlock source("abcdef");
    char text[4];
    copy_cut(text, source.begin(), 6);
    EXPECT_STREQ(text, "abc");
    copy_cut(text, source.begin() + 4, 2);
    EXPECT_STREQ(text, "ef");
}

} // namespace
} // namespace zrp::bounded_copy_test
