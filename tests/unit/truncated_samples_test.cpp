// Every prefix of every sample through every driver. The blocks have exactly the prefix's size, so
// under the address sanitizer a byte read too far ends the test.
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "common/requests/connections.h"
#include "common/requests/diagnostics.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_list.h"
#include "common/result.h"
#include "tests/support/drivers.h"
#include "tests/support/exact_block.h"

namespace zrp::truncated_samples_test {
namespace {

class TruncatedSamples : public testing::TestWithParam<Driver> {
protected:
    const std::vector<Sample> all = samples(GetParam().corpus);
};

TEST_P(TruncatedSamples, AreReadWithinTheirRange) {
    ASSERT_FALSE(all.empty());
    for (const Sample& sample : all) {
        SCOPED_TRACE(sample.name);
        for_each_truncated_prefix(sample.text, GetParam().drive);
    }
}

// Any byte can be the one that got lost or changed on its way.
TEST_P(TruncatedSamples, WithAByteChangedAreReadWithinTheirRange) {
    constexpr size_t kLongest = 400; // the cost grows with the square of the length
    for (const Sample& sample : all) {
        if (sample.text.size() > kLongest) {
            continue;
        }
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

INSTANTIATE_TEST_SUITE_P(Reader, TruncatedSamples, testing::ValuesIn(drivers()),
                         [](const auto& driver) { return std::string(driver.param.name); });

// How many items a scanner takes from a sample of which nothing is missing.
template <typename Scan>
int items_of(std::string_view sampleName, Scan scan) {
    const std::vector<Sample> replies = samples("replies");
    const auto sample = std::find_if(replies.begin(), replies.end(), [&](const Sample& candidate) {
        return candidate.name == sampleName;
    });
    if (sample == replies.end()) {
        return -1;
    }
    const ExactBlock reply(sample->text);
    int items = 0;
    int offset = 0;
    while (scan(reply.begin(), reply.length(), &offset) == kOk) {
        items++;
    }
    return items;
}

// Otherwise their prefixes would tell little.
TEST(SampleReplies, AreWholeForTheirScanners) {
    EXPECT_EQ(items_of("server_statistics.xml",
                       [](char* reply, int length, int* offset) {
                           char* element = nullptr;
                           int size = 0;
                           return ScanServerStatisticsReply(reply, length, offset, &element, &size);
                       }),
              6);
    EXPECT_EQ(items_of("list_volumes.xml",
                       [](char* reply, int length, int* offset) {
                           ListedName name;
                           uint32_t status = 0;
                           int32_t number = 0;
                           return ScanListVolumesReply(reply, length, offset, &name, &status,
                                                       &number);
                       }),
              1);
    EXPECT_EQ(items_of("volume_information.xml",
                       [](char* reply, int length, int* offset) {
                           int version = 0;
                           VolumeRecord record;
                           return ScanVolumeInformationReply(reply, length, offset, &version,
                                                             &record);
                       }),
              2);
    EXPECT_EQ(items_of("list_connections.xml",
                       [](char* reply, int length, int* offset) {
                           ConnectionEntry entry;
                           return ScanListConnectionsReply(reply, length, offset, &entry);
                       }),
              1);
    EXPECT_EQ(items_of("connection_information.xml",
                       [](char* reply, int length, int* calls) {
                           ConnectionInformationPtr record;
                           return (*calls)++ == 0
                                      ? ScanConnectionInformationReply(reply, length, &record)
                                      : kNoData;
                       }),
              1);
    using CounterScan = int (*)(char*, int, int*, DiagnosticName&, int32_t*);
    const auto counters_of = [](std::string_view sample, CounterScan scan) {
        return items_of(sample, [scan](char* reply, int length, int* cursor) {
            DiagnosticName counter;
            int32_t value = 0;
            return scan(reply, length, cursor, counter, &value);
        });
    };
    EXPECT_EQ(counters_of("diagnostics.xml", ScanDiagnosticsReply), 2);
    EXPECT_EQ(counters_of("diagnostics_storage.xml", ScanZrp2bksDiagnosticReply), 2);
    EXPECT_EQ(items_of("set.xml",
                       [](char* reply, int length, int* offset) {
                           SettingText name;
                           SettingText value;
                           return ScanSetReply(reply, length, offset, &name, &value);
                       }),
              3);
}

} // namespace
} // namespace zrp::truncated_samples_test
