#include "common/genericCode.h"

// The assertion below guards a shift that would be undefined, so that every build keeps it.
#undef NDEBUG

#include <algorithm>
#include <cassert>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "common/bounded_copy.h"
#include "common/result.h"

namespace zrp {
namespace {

struct SizeUnit {
    const char* name;
    unsigned shift;
};

constexpr SizeUnit kSizeUnits[] = {
    {"KB", 10}, {"MB", 20}, {"GB", 30}, {"TB", 40}, {"PB", 50}, {"EB", 60},
};

constexpr unsigned kExabyteShift = 60;
constexpr uint64_t kExabyteHundredth = (uint64_t{1} << kExabyteShift) / 100;

constexpr uint64_t kMaxU64 = std::numeric_limits<uint64_t>::max();
constexpr unsigned kMaxShift = 63;

// Compatibility: the assertion names this place, wherever it is in the source.
constexpr const char* kAssertFile = "common/genericCode.cpp";
constexpr unsigned kAssertLine = 183;

// Of a size that has one: a kilobyte or more.
const SizeUnit& unit_of(uint64_t size) {
    const SizeUnit* unit = std::end(kSizeUnits) - 1;
    while (size >> unit->shift == 0) {
        unit--;
    }
    return *unit;
}

// The remainder of an exabyte times 25 does not fit into 64 bits, so it is divided by a hundredth
// of an exabyte. Compatibility: that hundredth is truncated, and the last few bytes yield 100
// hundredths.
uint64_t hundredths_of(uint64_t size, unsigned shift) {
    const uint64_t rest = size & ((uint64_t{1} << shift) - 1);
    return shift == kExabyteShift ? rest / kExabyteHundredth : (rest * 25) >> (shift - 2);
}

// Compatibility: the mask has 32 bits; for a shift above 31 it is the one for 32 bits less.
uint64_t rounding_mask(unsigned shift) {
    return (uint32_t{1} << (shift % 32)) - 1;
}

uint64_t saturated_product(uint64_t a, uint64_t b) {
    uint64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? kMaxU64 : product;
}

uint64_t rounded_up_quotient(uint64_t value, uint64_t divisor) {
    uint64_t raised = 0;
    return (__builtin_add_overflow(value, divisor - 1, &raised) ? kMaxU64 : raised) / divisor;
}

// The caller's outputs of one parse.
struct ParseReport {
    int* status;
    size_t capacity;
    size_t* length;
    char* text;
};

// Fills the report and clears the message. Returns false when a required output is null.
bool start_report(ParseReport& report, int* status, size_t capacity, size_t* length, char* text) {
    if (status == nullptr || (capacity != 0 && (length == nullptr || text == nullptr))) {
        return false;
    }
    report = {status, capacity, length, text};
    if (capacity != 0) {
        *length = 0;
        memset(text, 0, capacity);
    }
    return true;
}

[[gnu::format(printf, 3, 4)]] void refuse(const ParseReport& report, int status, const char* format,
                                          ...) {
    *report.status = status;
    if (report.capacity == 0) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(report.text, report.capacity, format, arguments);
    va_end(arguments);
    *report.length = std::min(static_cast<size_t>(length), report.capacity - 1);
}

const char* skip_white_space(const char* text) {
    while (isspace(static_cast<unsigned char>(*text)) != 0) {
        text++;
    }
    return text;
}

bool is_negative(const char* number) {
    errno = 0;
    return strtoll(number, nullptr, 0) != 0 || errno != 0;
}

// Refuses a text without a number, and anything but white space after the number.
bool is_whole_number(const char* number, const char* end, const ParseReport& report) {
    if (end == number) {
        refuse(report, kInvalid, "Not a valid number (%s)", number);
        return false;
    }
    const char* rest = skip_white_space(end);
    if (*rest == '\0') {
        return true;
    }
    if (rest == end) {
        refuse(report, kInvalid, "Not proper number (%s)", number);
    } else {
        refuse(report, kInvalid, "Multiple details found (%s), but expecting only single number",
               number);
    }
    return false;
}

// Stores the number and status 0, or refuses.
void parse(const char* text, uint64_t& value, const ParseReport& report) {
    const char* number = skip_white_space(text);
    if (*number == '\0') {
        refuse(report, kNoData, "No data for number");
        return;
    }
    if (*number == '-' && is_negative(number)) {
        refuse(report, kInvalid, "Negative number (%s) not allowed", number);
        return;
    }
    char* end = nullptr;
    errno = 0;
    const uint64_t parsed = strtoull(number, &end, 0);
    if (errno != 0) {
        refuse(report, errno, "Number (%s) out of bounds", number);
        return;
    }
    if (is_whole_number(number, end, report)) {
        value = parsed;
        *report.status = kOk;
    }
}

} // namespace

void cvtBytesToString(SizeText& dst, uint64_t count, uint64_t unitSize, bool spacedUnit) {
    const uint64_t size = count * unitSize;
    char text[64] = "";
    if (size >> kSizeUnits[0].shift == 0) {
        snprintf(text, sizeof text, "%lld", static_cast<long long>(size));
        copy_cut(dst, text);
        return;
    }
    const SizeUnit& unit = unit_of(size);
    const auto whole = static_cast<long long>(size >> unit.shift);
    const auto hundredths = static_cast<long long>(hundredths_of(size, unit.shift));
    const int width = spacedUnit ? 3 : 2;
    if (hundredths == 0) {
        snprintf(text, sizeof text, "%lld%*s", whole, width, unit.name);
    } else {
        snprintf(text, sizeof text, "%lld.%02lld%*s", whole, hundredths, width, unit.name);
    }
    copy_cut(dst, text);
}

void cvtSizeToString(uint64_t count, uint64_t unitSize, SizeText& dst) {
    cvtBytesToString(dst, count, unitSize, true);
}

uint64_t cvtBlocksToBlocks(uint64_t value, unsigned fromBits, unsigned toBits) {
    const bool toLarger = fromBits < toBits;
    const unsigned shift = toLarger ? toBits - fromBits : fromBits - toBits;
    if (shift > kMaxShift) {
        return 0;
    }
    return toLarger ? (value + rounding_mask(shift)) >> shift : value << shift;
}

uint64_t cvtBytesToBlocks(uint64_t bytes, unsigned blkSizeBits) {
    if (blkSizeBits > kMaxShift) {
        __assert_fail("blkSizeBits < 64", kAssertFile, kAssertLine, __func__);
    }
    return cvtBlocksToBlocks(bytes, 0, blkSizeBits);
}

int cvtUnits(uint64_t* out, uint64_t toUnit, uint64_t value, uint64_t fromUnit) {
    if (out == nullptr || toUnit == 0 || fromUnit == 0) {
        return kInvalid;
    }
    if (fromUnit < toUnit) {
        if (toUnit % fromUnit != 0) {
            return kInvalid;
        }
        *out = rounded_up_quotient(value, toUnit / fromUnit);
        return kOk;
    }
    if (fromUnit % toUnit != 0) {
        return kInvalid;
    }
    *out = saturated_product(value, fromUnit / toUnit);
    return kOk;
}

int cvtStringToU64(const char* text, uint64_t* value, int* status, size_t msgCapacity,
                   size_t* msgLength, char* msgBuffer) {
    ParseReport report;
    if (text == nullptr || value == nullptr ||
        !start_report(report, status, msgCapacity, msgLength, msgBuffer)) {
        return kInvalid;
    }
    parse(text, *value, report);
    return kOk;
}

int cvtStringToU32(const char* text, uint32_t* value, int* status, size_t msgCapacity,
                   size_t* msgLength, char* msgBuffer) {
    ParseReport report;
    if (text == nullptr || value == nullptr ||
        !start_report(report, status, msgCapacity, msgLength, msgBuffer)) {
        return kInvalid;
    }
    uint64_t wide = 0;
    parse(text, wide, report);
    if (*status != kOk) {
        return kOk;
    }
    if (wide > std::numeric_limits<uint32_t>::max()) {
        refuse(report, kRange, "Number (%lu)out of bounds", static_cast<unsigned long>(wide));
        return kOk;
    }
    *value = static_cast<uint32_t>(wide);
    return kOk;
}

} // namespace zrp
