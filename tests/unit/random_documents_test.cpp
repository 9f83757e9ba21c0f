// Random documents through every driver, which hold the readers against plain references. The
// pieces are those of which the readers take notice, and texts longer than their steps.
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/drivers.h"

namespace zrp {
namespace {

constexpr const char* kPieces[] = {
    "<",
    ">",
    "/",
    "</",
    " ",
    "\"",
    "=",
    "a",
    "<a>",
    "</a>",
    "<a/>",
    "<a b=\"/\">",
    "<a<",
    "<!",
    "<!--",
    "<?xml?>",
    "<![CDATA[",
    "]]>",
    "<name>",
    "</name>",
    "<value type=\"x\">",
    "</value>",
    "<value>",
    "<parm>",
    "</parm>",
    "<serverStatistics>",
    "</serverStatistics>",
    "<volume>",
    "</volume>",
    "<volumeNumber>7</volumeNumber>",
    "<result value=\"0\"/>",
    "0x1F",
    "sixteen bytes and some more",
};

class RandomDocuments : public testing::TestWithParam<Driver> {};

TEST_P(RandomDocuments, AreReadAsPlainly) {
    constexpr int kDocuments = 2000;
    constexpr size_t kMostPieces = 40;
    std::mt19937 random(1); // NOLINT: the same documents in each run
    for (int i = 0; i < kDocuments; i++) {
        std::string document;
        for (size_t left = random() % kMostPieces; left > 0; left--) {
            document += kPieces[random() % std::size(kPieces)];
        }
        if (i % 2 != 0) { // the scanners look nowhere else
            document =
                "<zrpConsoleReply><listVolumes>" + document + "</listVolumes></zrpConsoleReply>";
        }
        SCOPED_TRACE(document);
        GetParam().drive(document);
    }
}

INSTANTIATE_TEST_SUITE_P(Reader, RandomDocuments, testing::ValuesIn(drivers()),
                         [](const auto& driver) { return std::string(driver.param.name); });

} // namespace
} // namespace zrp
