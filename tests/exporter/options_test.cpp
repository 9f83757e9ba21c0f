#include "exporter/options.h"

#include <gtest/gtest.h>

namespace zrp::exporter {
namespace {

using std::chrono::milliseconds;

TEST(ReadAddress, TakesNumericAddressesOfBothKinds) {
    const auto ipv4 = ReadAddress("127.0.0.1:9848");
    ASSERT_TRUE(ipv4);
    EXPECT_EQ(ipv4->host, "127.0.0.1");
    EXPECT_EQ(ipv4->port, 9848);
    const auto ipv6 = ReadAddress("[::1]:80");
    ASSERT_TRUE(ipv6);
    EXPECT_EQ(ipv6->host, "::1");
    EXPECT_EQ(NameOf(*ipv6), "[::1]:80");
}

TEST(ReadAddress, RefusesWhatIsNone) {
    for (const char* text : {"", ":", "9848", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536",
                             "127.0.0.1:-1", "127.0.0.1:80x", "127.0.0:80", "::1:80", "[]:80",
                             "[127.0.0.1]:80", "localhost:80", " 127.0.0.1:80"}) {
        EXPECT_FALSE(ReadAddress(text)) << text;
    }
}

TEST(ReadTimeout, TakesSecondsWithinItsRange) {
    EXPECT_EQ(ReadTimeout("5"), milliseconds(5000));
    EXPECT_EQ(ReadTimeout("0.01"), milliseconds(10));
    EXPECT_EQ(ReadTimeout("300"), milliseconds(300000));
    for (const char* text : {"", "0", "0.0", "-1", "300.1", "5s", "nan", "inf", "0,5", " 5"}) {
        EXPECT_FALSE(ReadTimeout(text)) << text;
    }
}

} // namespace
} // namespace zrp::exporter
