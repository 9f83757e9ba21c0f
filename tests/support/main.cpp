#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/needs.h"

namespace {

// Far above what any test takes, on a busy machine too.
constexpr unsigned kTestSeconds = 300;

// Where namespaces are not permitted, all programs have their turn one after another.
constexpr zrp::harness::milliseconds kTurnPatience{50 * 60 * 1000};

char runningTest[256];

extern "C" void end_hanging_test(int /*signal*/) {
    static const char kMessage[] = "\nThis test does not come to an end: ";
    // Nothing can be done about a failing write here.
    [[maybe_unused]] ssize_t written = write(STDOUT_FILENO, kMessage, sizeof kMessage - 1);
    written = write(STDOUT_FILENO, runningTest, strlen(runningTest));
    abort();
}

// Many tests share a process: one that hangs must be named, and must not take the time of all.
class TimeLimit : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& test) override {
        std::snprintf(runningTest, sizeof runningTest, "%s.%s\n", test.test_suite_name(),
                      test.name());
        std::signal(SIGALRM, end_hanging_test);
        alarm(kTestSeconds);
    }

    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        alarm(0);
    }
};

zrp::harness::Network& network() {
    static zrp::harness::Network entered;
    return entered;
}

// False if no test may run.
bool enter_network() {
    network() = zrp::harness::enter_private_network(kTurnPatience);
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
    testing::UnitTest::GetInstance()->listeners().Append(new TimeLimit);
    // The build lists the tests, which must not wait for anything.
    if (!GTEST_FLAG_GET(list_tests) && !enter_network()) {
        return 1;
    }
    return RUN_ALL_TESTS();
}
