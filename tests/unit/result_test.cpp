#include "common/result.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace zrp::result_test {
namespace {

constexpr const char* kServerText = "error reported by the server";

TEST(ResultText, EachCodeOfTheLibraryHasATextOfItsOwn) {
    EXPECT_STREQ(ResultText(kOk), "success");
    EXPECT_STREQ(ResultText(kNotFound), "not found, or cut short");
    EXPECT_STREQ(ResultText(kNoMemory), "out of memory");
    EXPECT_STREQ(ResultText(kInvalid), "argument or reply not understood");
    EXPECT_STREQ(ResultText(kRange), "out of range");
    EXPECT_STREQ(ResultText(kBadMagic), "not a daemon of this server");
    EXPECT_STREQ(ResultText(kNoData), "no data");
    EXPECT_STREQ(ResultText(kTooLong), "text too long");
    EXPECT_STREQ(ResultText(kBufferTooSmall), "buffer too small");
    EXPECT_STREQ(ResultText(kWriteError), "write error reported by the server");
    EXPECT_STREQ(ResultText(kShortHeader), "connection closed before the end of the reply");
    EXPECT_STREQ(ResultText(kNameTooLong), "volume name too long");
    EXPECT_STREQ(ResultText(ETIMEDOUT), "no answer in time");
    EXPECT_STREQ(ResultText(ECANCELED), "interrupted");
}

TEST(ResultText, TheSystemsTextsBeginSmallAndAbbreviationsKeepTheirCapitals) {
    EXPECT_STREQ(ResultText(ECONNREFUSED), "connection refused");
    EXPECT_STREQ(ResultText(EMFILE), "too many open files");
    EXPECT_STREQ(ResultText(EMULTIHOP), "multihop attempted");
    EXPECT_STREQ(ResultText(EDOTDOT), "RFS specific error");
    EXPECT_STREQ(ResultText(ELIBSCN), ".lib section in a.out corrupted");
}

TEST(ResultText, EveryCodeOfTheSystemHasAWholeText) {
    for (int code = 1; code <= EHWPOISON; code++) {
        const char* system = strerrordesc_np(code);
        const std::string text = ResultText(code);
        EXPECT_FALSE(text.empty()) << code;
        EXPECT_EQ(text == kServerText, system == nullptr) << code;
        if (system != nullptr) {
            EXPECT_LT(strlen(system), 64U) << code;
        }
    }
}

TEST(ResultText, AnyOtherCodeIsTheServers) {
    for (const int code : {-1, -5, -701, 41, EHWPOISON + 1, 4711, INT32_MAX, INT32_MIN}) {
        EXPECT_STREQ(ResultText(code), kServerText) << code;
    }
}

} // namespace
} // namespace zrp::result_test
