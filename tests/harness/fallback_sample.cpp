#include "tests/support/needs.h"

TEST(Sample, RunsWithoutNamespaces) {
    EXPECT_EQ(zrp::test_network().kind, zrp::harness::NetworkKind::kShared);
}

TEST(Sample, IsSkippedWithoutNamespaces) {
    ZRP_NEEDS_NAMESPACES();
    FAIL() << "there are none";
}

TEST(Sample, IsSkippedWithoutRoot) {
    ZRP_NEEDS_ROOT();
    EXPECT_TRUE(zrp::test_network().root);
}
