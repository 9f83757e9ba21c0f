// soak [SECONDS] [SEED]: turns until the time is over, at least one. The seeds of the turns count
// up from SEED, and `soak 0 SEED` repeats one of them.
#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>

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

template <typename Number>
std::optional<Number> read_number(std::string_view text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    const auto seconds = argc > 1 ? read_number<int>(argv[1]) : 60;
    const auto seed = argc > 2 ? read_number<uint64_t>(argv[2]) : std::random_device()();
    if (argc > 3 || !seconds || *seconds < 0 || !seed) {
        std::fputs("usage: soak [SECONDS] [SEED]\n", stderr);
        return 2;
    }
    const auto network = zrp::harness::enter_private_network();
    if (!network.root) {
        std::printf("needs root: %s\n", network.reason.c_str());
        return 77; // for ctest: skipped
    }
    return run(*seconds, *seed);
}
