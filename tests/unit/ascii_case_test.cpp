#include "common/ascii_case.h"

#include <gtest/gtest.h>

namespace zrp::ascii_case_test {
namespace {

TEST(EqualIgnoringCase, ComparesWholeTexts) {
    EXPECT_TRUE(equal_ignoring_case("", ""));
    EXPECT_TRUE(equal_ignoring_case("Allow_Utf8", "ALLOW_UTF8"));
    EXPECT_TRUE(equal_ignoring_case("az AZ 09", "AZ az 09"));
    EXPECT_FALSE(equal_ignoring_case("ALLOW", "ALLOW_UTF8"));
    EXPECT_FALSE(equal_ignoring_case("ALLOW_UTF8", "ALLOW"));
    EXPECT_FALSE(equal_ignoring_case("", "A"));
}

TEST(EqualIgnoringCase, OnlyLettersHaveACase) {
    EXPECT_FALSE(equal_ignoring_case("@", "`")); // before the letters
    EXPECT_FALSE(equal_ignoring_case("[", "{")); // after them
    EXPECT_FALSE(equal_ignoring_case("_", "\x7f"));
    EXPECT_FALSE(equal_ignoring_case("\xc4", "\xe4")); // a letter in one character set or the other
    EXPECT_TRUE(equal_ignoring_case("\xc4", "\xc4"));
}

TEST(EqualIgnoringCase, ComparesAtMostTheGivenLength) {
    EXPECT_TRUE(equal_ignoring_case("VOLUME DATA", "volumes", 6));
    EXPECT_FALSE(equal_ignoring_case("VOLUME DATA", "volumes", 7));
    EXPECT_TRUE(equal_ignoring_case("a", "b", 0));
    EXPECT_TRUE(equal_ignoring_case("a", "A", 9));
    EXPECT_FALSE(equal_ignoring_case("a", "AB", 9));
}

} // namespace
} // namespace zrp::ascii_case_test
