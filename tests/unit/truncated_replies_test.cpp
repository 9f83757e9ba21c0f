// Every prefix of every sample reply through every routine that reads replies. The blocks have
// exactly the prefix's size, so under the address sanitizer a byte read too far ends the test.
#include <gtest/gtest.h>

#include "tests/support/exact_block.h"
#include "tests/support/reader_drivers.h"

namespace zrp {
namespace {

class TruncatedReplies : public testing::TestWithParam<ReaderDriver> {};

TEST_P(TruncatedReplies, AreReadWithinTheirRange) {
    ASSERT_GE(sample_replies().size(), 20U);
    for (const SampleReply& sample : sample_replies()) {
        SCOPED_TRACE(sample.name);
        for_each_truncated_prefix(sample.text, GetParam().drive);
    }
}

// Any byte of a reply can be the one that got lost or changed on its way.
TEST_P(TruncatedReplies, WithAByteChangedAreReadWithinTheirRange) {
    for (const SampleReply& sample : sample_replies()) {
        SCOPED_TRACE(sample.name);
        for (size_t i = 0; i < sample.text.size(); i++) {
            for (const char c : {'<', '>', '/', '"', ' ', ']', '\0'}) {
                std::string damaged = sample.text;
                damaged[i] = c;
                GetParam().drive(damaged);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Reader, TruncatedReplies, testing::ValuesIn(reader_drivers()),
                         [](const auto& driver) { return std::string(driver.param.name); });

} // namespace
} // namespace zrp
