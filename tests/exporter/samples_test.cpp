#include "exporter/samples.h"

#include <gtest/gtest.h>

namespace zrp::exporter::samples_test {
namespace {

using prometheus::MetricType;

TEST(Samples, OfTwoWithTheSameLabelsTheFirstStays) {
    SeriesBudget budget = {10};
    Samples samples("m", MetricType::Gauge, "a b", "help", budget);
    samples.Add({"x", "y"}, 1);
    samples.Add({"x", "y"}, 2);
    samples.Add({"xy", ""}, 3);
    samples.Add({"", "xy"}, 4);
    const auto family = samples.Take();
    ASSERT_EQ(family.metric.size(), 3U);
    EXPECT_EQ(family.metric[0].gauge.value, 1);
    EXPECT_EQ(family.metric[1].label.size(), 1U);
    EXPECT_EQ(family.metric[2].label[0].name, "b");
    EXPECT_EQ(budget.dropped, 1U);
    EXPECT_EQ(budget.left, 7U);
}

TEST(Samples, DropsWhatIsBeyondTheBudget) {
    SeriesBudget budget = {2};
    Samples samples("m", MetricType::Counter, "n", "help", budget);
    for (int i = 0; i < 5; i++) {
        samples.Add({std::to_string(i)}, i);
    }
    EXPECT_EQ(samples.Take().metric.size(), 2U);
    EXPECT_EQ(budget.dropped, 3U);
}

TEST(Samples, AHistogramHasASeriesForEachBucketAndTwoMore) {
    SeriesBudget budget = {4};
    Samples samples("m", MetricType::Histogram, "n", "help", budget);
    prometheus::ClientMetric histogram;
    histogram.histogram.bucket.resize(2);
    samples.Add({"x"}, histogram);
    EXPECT_EQ(budget.left, 0U);
    samples.Add({"y"}, histogram);
    EXPECT_EQ(budget.dropped, 4U);
    EXPECT_EQ(samples.Take().metric.size(), 1U);
}

} // namespace
} // namespace zrp::exporter::samples_test
