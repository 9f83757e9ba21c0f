// soak [SECONDS] [SEED]: turns until the time is over, at least one. The seeds of the turns count
// up from SEED, and `soak 0 SEED` repeats one of them.
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string>

#include <CLI/CLI.hpp>

#include "tests/soak/soak.h"
#include "tools/harness/private_network.h"

namespace {

using namespace zrp::soak;

struct Kind {
    const char* name;
    void (*run)(Turn& turn);
};

constexpr Kind kKinds[] = {
    {"screens", soak_screens},
    {"sizes", sweep_sizes},
    {"signals", send_signals},
    {"library", soak_library},
};

bool run_turn(uint64_t seed) {
    const Kind& kind = kKinds[seed % std::size(kKinds)];
    Turn turn(seed, seed / std::size(kKinds));
    std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), kind.name);
    std::fflush(stdout);
    try {
        kind.run(turn);
        return true;
    } catch (const std::exception& failure) {
        std::printf("%sFAILED, seed %llu (%s): %s\n", turn.journal.c_str(),
                    static_cast<unsigned long long>(seed), kind.name, failure.what());
        return false;
    }
}

int run(int seconds, uint64_t seed) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    const uint64_t first = seed;
    do {
        if (!run_turn(seed)) {
            return 1;
        }
        seed++;
    } while (std::chrono::steady_clock::now() < end);
    std::printf("%llu turns passed, seeds %llu to %llu\n",
                static_cast<unsigned long long>(seed - first),
                static_cast<unsigned long long>(first), static_cast<unsigned long long>(seed - 1));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Random work on the monitor and the library, judged after each turn", "soak");
    int seconds = 60;
    uint64_t seed = std::random_device()();
    app.add_option("SECONDS", seconds, "Begin no turn after this time")
        ->check(CLI::NonNegativeNumber);
    app.add_option("SEED", seed, "Of the first turn; random if it is missing");
    CLI11_PARSE(app, argc, argv);

    const auto network = zrp::harness::enter_private_network();
    if (!network.root) {
        std::printf("needs root: %s\n", network.reason.c_str());
        return 77; // for ctest: skipped
    }
    return run(seconds, seed);
}
