#include "common/range_number.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/exact_block.h"

namespace zrp::range_number_test {
namespace {

// Texts that the two readings might read differently.
const std::vector<std::string> kTexts = {
    "",
    "0",
    "7",
    "42",
    "-1",
    "+5",
    " \t\n42",
    "42 43",
    "42x",
    "4:2",
    "4/2",
    "x42",
    "-",
    "+-3",
    "--3",
    "0x",
    "0x1F",
    "0X1f",
    "0xg",
    "0x-1",
    "-0x",
    "-0x10",
    "010",
    "08",
    "-010",
    "00",
    "1e3",
    "0b1",
    "\v\f\r9",
    "9999999999999999999",
    "12345678901234567890",
    "99999999999999999999",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775807",
    "-9223372036854775808",
    "-9223372036854775809",
    "18446744073709551615",
    "18446744073709551616",
    "-18446744073709551615",
    "99999999999999999999999999",
    "-99999999999999999999999999",
    "0xffffffffffffffff",
    "0x1ffffffffffffffff",
    "007777777777777777777777",
    "000000000000000000005",
};

TEST(LeadingDecimal, ReadsLikeStrtoll) {
    for (const std::string& text : kTexts) {
        const ExactBlock block(text);
        EXPECT_EQ(leading_decimal({block.begin(), text.size()}), strtol(text.c_str(), nullptr, 10))
            << '"' << text << '"';
    }
}

TEST(LeadingNumber, ReadsLikeStrtoullWithAutomaticBase) {
    for (const std::string& text : kTexts) {
        const ExactBlock block(text);
        EXPECT_EQ(leading_number({block.begin(), text.size()}), strtoull(text.c_str(), nullptr, 0))
            << '"' << text << '"';
    }
}

} // namespace
} // namespace zrp::range_number_test
