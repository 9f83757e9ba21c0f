#include "exporter/options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zrp::exporter::options_test {
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

Options options_of(std::vector<std::string> words) {
    words.insert(words.begin(), "zrp-exporter");
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    Options options;
    EXPECT_EQ(ReadOptions(static_cast<int>(arguments.size()), arguments.data(), options),
              std::nullopt);
    return options;
}

TEST(ReadOptions, HaveTheirDefaults) {
    const Options options = options_of({});
    EXPECT_EQ(NameOf(options.listen), "127.0.0.1:9848");
    EXPECT_EQ(options.limits.timeout, milliseconds(5000));
    EXPECT_EQ(options.limits.connections, 0U);
}

TEST(ReadOptions, OfConnectionsHaveANumberOrNone) {
    EXPECT_EQ(options_of({"--per-connection"}).limits.connections, 1000U);
    EXPECT_EQ(options_of({"--per-connection=20000"}).limits.connections, 20000U);
    EXPECT_EQ(NameOf(options_of({"--per-connection", "--listen", "[::1]:1"}).listen), "[::1]:1");
}

} // namespace
} // namespace zrp::exporter::options_test
