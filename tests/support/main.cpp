#include <cstdio>

#include <gtest/gtest.h>

#include "tests/support/needs.h"

namespace {

zrp::harness::Network& network() {
    static zrp::harness::Network entered;
    return entered;
}

// False if no test may run.
bool enter_network() {
    network() = zrp::harness::enter_private_network();
    switch (network().kind) {
    case zrp::harness::NetworkKind::kPrivate:
        return true;
    case zrp::harness::NetworkKind::kShared:
        std::printf("Using the machine's own network, one test at a time: %s.\n",
                    network().reason.c_str());
        return true;
    case zrp::harness::NetworkKind::kRefused:
        break;
    }
    std::printf("No test is run: %s.\n", network().reason.c_str());
    return false;
}

} // namespace

const zrp::harness::Network& zrp::test_network() {
    return network();
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // The build lists the tests, which must not wait for anything.
    if (!GTEST_FLAG_GET(list_tests) && !enter_network()) {
        return 1;
    }
    return RUN_ALL_TESTS();
}
