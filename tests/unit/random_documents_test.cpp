// Random documents through every driver, which hold the readers against plain references.
#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/document_pieces.h"
#include "tests/support/drivers.h"

namespace zrp::random_documents_test {
namespace {

// Items are made of these that a table of fields reads in one pass.
constexpr const char* kPlainPieces[] = {
    "<startIndex>-2</startIndex>",
    "<a>0x1F</a>",
    "<a b=\"c\">7</a>",
    "<value>017</value>",
    "<value type=\"x\"><![CDATA[8]]></value>",
    "<name>twelve bytes</name>",
    "<name><![CDATA[x]]>y</name>",
    "<volumeNumber>7</volumeNumber>",
    "text",
};

std::string random_item(std::mt19937& random) {
    constexpr size_t kMostChildren = 9;
    std::string item = "<volume>";
    for (size_t left = random() % kMostChildren; left > 0; left--) {
        item += kPlainPieces[random() % std::size(kPlainPieces)];
    }
    return item + "</volume>";
}

class RandomDocuments : public testing::TestWithParam<Driver> {};

TEST_P(RandomDocuments, AreReadAsPlainly) {
    constexpr int kDocuments = 2000;
    constexpr size_t kMostPieces = 40;
    std::mt19937 random(1); // NOLINT: the same documents in each run
    for (int i = 0; i < kDocuments; i++) {
        std::string document;
        for (size_t left = random() % kMostPieces; left > 0; left--) {
            document += i % 4 == 3 ? random_item(random)
                                   : kDocumentPieces[random() % std::size(kDocumentPieces)];
        }
        if (i % 2 != 0) { // the scanners look nowhere else
            document =
                "<zrpConsoleReply><listVolumes>" + document + "</listVolumes></zrpConsoleReply>";
        }
        SCOPED_TRACE(document);
        GetParam().drive(document);
    }
}

// Those of files wait for the disk each time, and read no documents.
std::vector<Driver> document_drivers() {
    std::vector<Driver> wanted;
    std::copy_if(
        drivers().begin(), drivers().end(), std::back_inserter(wanted),
        [](const Driver& driver) { return !std::string_view(driver.name).starts_with("config_"); });
    return wanted;
}

INSTANTIATE_TEST_SUITE_P(Reader, RandomDocuments, testing::ValuesIn(document_drivers()),
                         [](const auto& driver) { return std::string(driver.param.name); });

} // namespace
} // namespace zrp::random_documents_test
