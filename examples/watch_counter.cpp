// Watches one counter of the main daemon.
//
//     watch_counter NAME [SECONDS [COUNT]]
//
// Prints its value every SECONDS (1), COUNT times or, without one, until it is interrupted:
//
//     watch_counter "ipcListener requests"
#include <charconv>
#include <chrono>
#include <iostream>
#include <optional>
#include <string_view>
#include <thread>

#include <zrp/client.h>

namespace client = zrp::client;

// Accepts numbers of at least the minimum.
static bool read_number(std::string_view text, unsigned minimum, unsigned* number) {
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, *number);
    return error == std::errc() && last == end && *number >= minimum;
}

// Nothing when there is no such counter, or no answer; it then says which.
static std::optional<int32_t> read_counter(std::string_view name) {
    const auto counters = client::ListServerCounters();
    if (!counters) {
        std::cerr << "watch_counter: " << Describe(counters) << '\n';
        return {};
    }
    for (const client::Counter& counter : counters.value) {
        if (counter.name == name) {
            return counter.value;
        }
    }
    std::cerr << "watch_counter: no such counter: " << name << '\n';
    return {};
}

int main(int argc, char** argv) {
    unsigned seconds = 1;
    unsigned count = 0;
    if (argc < 2 || argc > 4 || *argv[1] == '\0' ||
        (argc > 2 && !read_number(argv[2], 0, &seconds)) ||
        (argc > 3 && !read_number(argv[3], 1, &count))) {
        std::cerr << "usage: watch_counter NAME [SECONDS [COUNT]]\n";
        return 2;
    }
    const client::Session session;
    std::optional<int32_t> before;
    for (unsigned i = 0; count == 0 || i < count; i++) {
        if (i > 0) {
            std::this_thread::sleep_for(std::chrono::seconds(seconds));
        }
        const std::optional<int32_t> value = read_counter(argv[1]);
        if (!value) {
            return 1;
        }
        // Two counts may be further apart than an int32_t holds.
        const int64_t grown = int64_t{*value} - before.value_or(*value);
        std::cout << *value << " (" << std::showpos << grown << std::noshowpos << ")" << std::endl;
        before = value;
    }
    return 0;
}
