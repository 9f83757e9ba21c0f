// A soak: turns of random work on the real programs, each of them judged. Everything random in a
// turn comes from its seed, so that the seed repeats it as far as the machine's timing allows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>

namespace zrp::soak {

// What a turn found wrong.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline void require(bool good, const std::string& what) {
    if (!good) {
        throw Failure(what);
    }
}

struct Turn {
    uint64_t number;        // of its kind, for turns that cover a range in order
    std::mt19937_64 random; // from the seed
    std::string journal;    // a line for each thing done, printed with a failure

    explicit Turn(uint64_t seed, uint64_t ofItsKind) : number(ofItsKind), random(seed) {}

    // A number from 0 to count - 1.
    size_t below(size_t count) {
        return random() % count;
    }

    int between(int least, int most) {
        return least + static_cast<int>(below(static_cast<size_t>(most - least + 1)));
    }

    template <typename List>
    const auto& pick(const List& list) {
        return std::data(list)[below(std::size(list))];
    }

    void note(const std::string& line) {
        journal += "  " + line + "\n";
    }
};

// Keys, faults, sizes and stops at random; afterwards every screen shows what a monitor shows that
// has just been started.
void soak_screens(Turn& turn);

// Starts the monitor in the next sizes of all from 1x1 to 30x90.
void sweep_sizes(Turn& turn);

// Each of the six signals at random moments, alone and with another one.
void send_signals(Turn& turn);

// Four threads of library calls on a server with faults; afterwards every call succeeds.
void soak_library(Turn& turn);

} // namespace zrp::soak
