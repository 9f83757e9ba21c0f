#include "common/genericCode.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "common/result.h"

namespace zrp::genericCode_test {
namespace {

constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
constexpr uint64_t kUntouched = 4711;

std::string size_text(uint64_t count, uint64_t unitSize, bool spacedUnit) {
    SizeText text;
    memset(text, '#', sizeof text);
    cvtBytesToString(text, count, unitSize, spacedUnit);
    return text;
}

std::string size_text(uint64_t size) {
    return size_text(size, 1, true);
}

struct Parsed {
    int rc = -1;
    int status = -1;
    uint64_t value = kUntouched;
    size_t length = kUntouched;
    std::string message;
};

Parsed parse64(const std::string& text) {
    Parsed parsed;
    char message[200] = "stale";
    parsed.rc = cvtStringToU64(text.c_str(), &parsed.value, &parsed.status, sizeof message,
                               &parsed.length, message);
    parsed.message = message;
    return parsed;
}

Parsed parse32(const std::string& text) {
    Parsed parsed;
    char message[200] = "stale";
    auto value = static_cast<uint32_t>(kUntouched);
    parsed.rc = cvtStringToU32(text.c_str(), &value, &parsed.status, sizeof message, &parsed.length,
                               message);
    parsed.value = value;
    parsed.message = message;
    return parsed;
}

struct ParseCase {
    const char* text;
    int status;
    uint64_t value;
    const char* message;
};

void expect_parse(const Parsed& parsed, const ParseCase& expected) {
    SCOPED_TRACE(expected.text);
    EXPECT_EQ(parsed.rc, kOk);
    EXPECT_EQ(parsed.status, expected.status);
    EXPECT_EQ(parsed.value, expected.value);
    EXPECT_EQ(parsed.message, expected.message);
    EXPECT_EQ(parsed.length, strlen(expected.message));
}

TEST(CvtBytesToString, BytesHaveNoUnit) {
    EXPECT_EQ(size_text(0), "0");
    EXPECT_EQ(size_text(1023), "1023");
}

TEST(CvtBytesToString, AWholeUnitHasNoHundredths) {
    EXPECT_EQ(size_text(1024), "1 KB");
    EXPECT_EQ(size_text(uint64_t{1} << 40), "1 TB");
}

TEST(CvtBytesToString, AFractionHasTwoDigits) {
    EXPECT_EQ(size_text(1536), "1.50 KB");
    EXPECT_EQ(size_text(1024 + 52), "1.05 KB");
}

TEST(CvtBytesToString, HundredthsThatTruncateToZeroAreLeftOut) {
    EXPECT_EQ(size_text(1034), "1 KB");
}

TEST(CvtBytesToString, OneByteBelowATerabyteIsTruncatedNotRounded) {
    EXPECT_EQ(size_text((uint64_t{1} << 40) - 1), "1023.99 GB");
}

TEST(CvtBytesToString, EachUnitBeginsAtItsPowerOfTwo) {
    const char* const units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
    for (unsigned i = 0; i < std::size(units); i++) {
        const uint64_t first = uint64_t{1} << (10 * (i + 1));
        EXPECT_EQ(size_text(first), std::string("1 ") + units[i]);
        const std::string below = i == 0 ? "1023" : std::string("1023.99 ") + units[i - 1];
        EXPECT_EQ(size_text(first - 1), below);
    }
}

TEST(CvtBytesToString, ExabytesDivideByTheTruncatedHundredth) {
    const uint64_t exabyte = uint64_t{1} << 60;
    EXPECT_EQ(size_text(exabyte + exabyte / 2), "1.50 EB");
    EXPECT_EQ(size_text(exabyte + 11529215046068468), "1 EB");
    EXPECT_EQ(size_text(exabyte + 11529215046068469), "1.01 EB");
}

TEST(CvtBytesToString, TheLargestSizeHasAHundredHundredths) {
    EXPECT_EQ(size_text(kMax), "15.100 EB");
}

TEST(CvtBytesToString, AnUnspacedUnitFollowsTheNumberDirectly) {
    EXPECT_EQ(size_text(1536, 1, false), "1.50KB");
    EXPECT_EQ(size_text(1024, 1, false), "1KB");
    EXPECT_EQ(size_text(7, 1, false), "7");
}

TEST(CvtBytesToString, CountIsMultipliedByTheUnitSizeIn64Bits) {
    EXPECT_EQ(size_text(uint64_t{1} << 31, 4096, true), "8 TB");
    EXPECT_EQ(size_text(uint64_t{1} << 63, 2, true), "0");
}

TEST(CvtSizeToString, SpacesTheUnit) {
    SizeText text;
    cvtSizeToString(3, 512, text);
    EXPECT_STREQ(text, "1.50 KB");
}

TEST(CvtBlocksToBlocks, RoundsUpToLargerBlocks) {
    EXPECT_EQ(cvtBlocksToBlocks(8, 9, 12), 1U);
    EXPECT_EQ(cvtBlocksToBlocks(9, 9, 12), 2U);
    EXPECT_EQ(cvtBlocksToBlocks(0, 9, 12), 0U);
}

TEST(CvtBlocksToBlocks, MultipliesToSmallerBlocks) {
    EXPECT_EQ(cvtBlocksToBlocks(3, 12, 9), 24U);
    EXPECT_EQ(cvtBlocksToBlocks(uint64_t{1} << 63, 12, 9), 0U) << "overflow is not checked";
}

TEST(CvtBlocksToBlocks, EqualSizesKeepTheCount) {
    EXPECT_EQ(cvtBlocksToBlocks(kMax, 12, 12), kMax);
}

TEST(CvtBlocksToBlocks, TheRoundingMaskStaysIn32Bits) {
    EXPECT_EQ(cvtBlocksToBlocks(1, 0, 31), 1U);
    EXPECT_EQ(cvtBlocksToBlocks((uint64_t{1} << 32) - 1, 0, 32), 0U) << "no mask at 32";
    EXPECT_EQ(cvtBlocksToBlocks(uint64_t{1} << 32, 0, 32), 1U);
    EXPECT_EQ(cvtBlocksToBlocks((uint64_t{1} << 40) - 255, 0, 40), 1U) << "the mask of 8";
    EXPECT_EQ(cvtBlocksToBlocks((uint64_t{1} << 40) - 256, 0, 40), 0U);
    EXPECT_EQ(cvtBlocksToBlocks((uint64_t{1} << 63) - 0x7FFFFFFF, 0, 63), 1U) << "the mask of 31";
    EXPECT_EQ(cvtBlocksToBlocks((uint64_t{1} << 63) - 0x80000000, 0, 63), 0U);
}

TEST(CvtBlocksToBlocks, SizesTooFarApartReturnZero) {
    EXPECT_EQ(cvtBlocksToBlocks(kMax, 0, 64), 0U);
    EXPECT_EQ(cvtBlocksToBlocks(kMax, 64, 0), 0U);
}

TEST(CvtBytesToBlocks, APartialBlockCounts) {
    EXPECT_EQ(cvtBytesToBlocks(4096, 12), 1U);
    EXPECT_EQ(cvtBytesToBlocks(4097, 12), 2U);
}

TEST(CvtBytesToBlocks, BlocksOfOneByteKeepTheCount) {
    EXPECT_EQ(cvtBytesToBlocks(kMax, 0), kMax);
}

TEST(CvtBytesToBlocksDeathTest, BlocksOf64BitsAbortTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(cvtBytesToBlocks(1, 64),
                 "common/genericCode.*:183: .*Assertion `blkSizeBits < 64' failed");
}

TEST(CvtUnits, RoundsUpToALargerUnit) {
    uint64_t out = 0;
    EXPECT_EQ(cvtUnits(&out, 4096, 8, 512), kOk);
    EXPECT_EQ(out, 1U);
    EXPECT_EQ(cvtUnits(&out, 4096, 9, 512), kOk);
    EXPECT_EQ(out, 2U);
}

TEST(CvtUnits, MultipliesToASmallerUnit) {
    uint64_t out = 0;
    EXPECT_EQ(cvtUnits(&out, 512, 3, 4096), kOk);
    EXPECT_EQ(out, 24U);
}

TEST(CvtUnits, EqualUnitsKeepTheValue) {
    uint64_t out = 0;
    EXPECT_EQ(cvtUnits(&out, 7, kMax, 7), kOk);
    EXPECT_EQ(out, kMax);
}

TEST(CvtUnits, SaturatesInsteadOfOverflowing) {
    uint64_t out = 0;
    EXPECT_EQ(cvtUnits(&out, 512, kMax / 8, 4096), kOk);
    EXPECT_EQ(out, kMax / 8 * 8);
    EXPECT_EQ(cvtUnits(&out, 512, kMax / 8 + 1, 4096), kOk);
    EXPECT_EQ(out, kMax);
    EXPECT_EQ(cvtUnits(&out, 4096, kMax, 512), kOk);
    EXPECT_EQ(out, kMax / 8) << "value + 7 would overflow";
}

TEST(CvtUnits, RefusesInvalidUnitsAndKeepsTheOutput) {
    uint64_t out = kUntouched;
    EXPECT_EQ(cvtUnits(&out, 1000, 1, 512), kInvalid);
    EXPECT_EQ(cvtUnits(&out, 512, 1, 1000), kInvalid);
    EXPECT_EQ(cvtUnits(&out, 0, 1, 512), kInvalid);
    EXPECT_EQ(cvtUnits(&out, 512, 1, 0), kInvalid);
    EXPECT_EQ(cvtUnits(nullptr, 512, 1, 512), kInvalid);
    EXPECT_EQ(out, kUntouched);
}

TEST(CvtStringToU64, AcceptsANumberWithWhiteSpaceAroundIt) {
    expect_parse(parse64("  42  "), {"  42  ", kOk, 42, ""});
    expect_parse(parse64("\t\n7\r\n"), {"tab", kOk, 7, ""});
}

TEST(CvtStringToU64, APrefixSelectsTheBase) {
    expect_parse(parse64("0x10"), {"0x10", kOk, 16, ""});
    expect_parse(parse64("010"), {"010", kOk, 8, ""});
}

TEST(CvtStringToU64, AcceptsTheWholeRange) {
    expect_parse(parse64("0"), {"0", kOk, 0, ""});
    expect_parse(parse64("18446744073709551615"), {"2^64 - 1", kOk, kMax, ""});
}

TEST(CvtStringToU64, ANegativeZeroIsZero) {
    expect_parse(parse64("-0"), {"-0", kOk, 0, ""});
}

TEST(CvtStringToU64, AnEarlierErrnoDoesNotMatter) {
    errno = ERANGE;
    expect_parse(parse64("-0"), {"-0", kOk, 0, ""});
    errno = ERANGE;
    expect_parse(parse64("7"), {"7", kOk, 7, ""});
}

TEST(CvtStringToU64, EmptyTextIsNoData) {
    expect_parse(parse64(""), {"empty", kNoData, kUntouched, "No data for number"});
    expect_parse(parse64(" \t "), {"blank", kNoData, kUntouched, "No data for number"});
    EXPECT_EQ(parse64("").length, 18U);
}

TEST(CvtStringToU64, RefusesTwoNumbers) {
    expect_parse(parse64("42 43"),
                 {"42 43", kInvalid, kUntouched,
                  "Multiple details found (42 43), but expecting only single number"});
}

TEST(CvtStringToU64, RefusesLettersAfterTheNumber) {
    expect_parse(parse64("42x"), {"42x", kInvalid, kUntouched, "Not proper number (42x)"});
    expect_parse(parse64("0x"), {"0x", kInvalid, kUntouched, "Not proper number (0x)"});
    expect_parse(parse64(" 08"), {"08", kInvalid, kUntouched, "Not proper number (08)"});
}

TEST(CvtStringToU64, RefusesANegativeNumber) {
    expect_parse(parse64("-1"), {"-1", kInvalid, kUntouched, "Negative number (-1) not allowed"});
    expect_parse(
        parse64(" -99999999999999999999"),
        {"too low", kInvalid, kUntouched, "Negative number (-99999999999999999999) not allowed"});
}

TEST(CvtStringToU64, RefusesTextWithoutDigits) {
    for (const char* text : {"x", "-", "+", "- 1"}) {
        const std::string message = std::string("Not a valid number (") + text + ")";
        expect_parse(parse64(text), {text, kInvalid, kUntouched, message.c_str()});
    }
}

TEST(CvtStringToU64, ANumberAbove64BitsIsOutOfRange) {
    expect_parse(parse64("18446744073709551616"),
                 {"2^64", kRange, kUntouched, "Number (18446744073709551616) out of bounds"});
}

TEST(CvtStringToU64, CutsTheMessageToItsCapacity) {
    const char* const whole = "Not a valid number (x)";
    for (size_t capacity = 1; capacity <= strlen(whole) + 2; capacity++) {
        std::string buffer(capacity + 1, '#');
        uint64_t value = 0;
        int status = 0;
        size_t length = 0;
        EXPECT_EQ(cvtStringToU64("x", &value, &status, capacity, &length, buffer.data()), kOk);
        EXPECT_EQ(length, std::min(strlen(whole), capacity - 1));
        EXPECT_EQ(std::string(buffer.c_str()), std::string(whole).substr(0, length));
        EXPECT_EQ(buffer[capacity], '#');
    }
}

TEST(CvtStringToU64, WithoutAMessageBufferOnlyTheStatusIsSet) {
    uint64_t value = kUntouched;
    int status = -1;
    EXPECT_EQ(cvtStringToU64("x", &value, &status, 0, nullptr, nullptr), kOk);
    EXPECT_EQ(status, kInvalid);
    EXPECT_EQ(cvtStringToU64("5", &value, &status, 0, nullptr, nullptr), kOk);
    EXPECT_EQ(status, kOk);
    EXPECT_EQ(value, 5U);
}

TEST(CvtStringToU64, RefusesBadArguments) {
    uint64_t value = kUntouched;
    int status = -1;
    size_t length = 0;
    char message[8];
    EXPECT_EQ(cvtStringToU64("5", &value, nullptr, 8, &length, message), kInvalid);
    EXPECT_EQ(cvtStringToU64(nullptr, &value, &status, 8, &length, message), kInvalid);
    EXPECT_EQ(cvtStringToU64("5", nullptr, &status, 8, &length, message), kInvalid);
    EXPECT_EQ(cvtStringToU64("5", &value, &status, 8, nullptr, message), kInvalid);
    EXPECT_EQ(cvtStringToU64("5", &value, &status, 8, &length, nullptr), kInvalid);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(value, kUntouched);
}

TEST(CvtStringToU32, AcceptsTheWholeRange) {
    expect_parse(parse32("4294967295"), {"2^32 - 1", kOk, 4294967295U, ""});
}

TEST(CvtStringToU32, ANumberAbove32BitsIsOutOfRange) {
    expect_parse(parse32("4294967296"),
                 {"2^32", kRange, kUntouched, "Number (4294967296)out of bounds"});
}

TEST(CvtStringToU32, RefusesWhatThe64BitParserRefuses) {
    expect_parse(parse32("18446744073709551616"),
                 {"2^64", kRange, kUntouched, "Number (18446744073709551616) out of bounds"});
    expect_parse(parse32("-1"), {"-1", kInvalid, kUntouched, "Negative number (-1) not allowed"});
}

TEST(CvtStringToU32, RefusesBadArguments) {
    uint32_t value = 7;
    int status = -1;
    EXPECT_EQ(cvtStringToU32("5", nullptr, &status, 0, nullptr, nullptr), kInvalid);
    EXPECT_EQ(cvtStringToU32("5", &value, nullptr, 0, nullptr, nullptr), kInvalid);
    EXPECT_EQ(cvtStringToU32(nullptr, &value, &status, 0, nullptr, nullptr), kInvalid);
    EXPECT_EQ(value, 7U);
}

} // namespace
} // namespace zrp::genericCode_test
