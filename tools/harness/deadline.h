// How long to wait for a condition. The harness always waits for a condition with a deadline, never
// for a fixed time.
#pragma once

#include <algorithm>
#include <chrono>

namespace zrp::harness {

using std::chrono::milliseconds;

// Long enough for a loaded machine and a sanitizer: only a failure waits this long.
inline constexpr milliseconds kPatience{30000};

class Deadline {
public:
    explicit Deadline(milliseconds patience) : end_(Clock::now() + patience) {}

    // Time left, never negative.
    [[nodiscard]] milliseconds left() const {
        const auto rest = std::chrono::ceil<milliseconds>(end_ - Clock::now());
        return std::max(rest, milliseconds{0});
    }

    [[nodiscard]] bool passed() const {
        return left() == milliseconds{0};
    }

    // The time left as poll() wants it, at most `longest`.
    [[nodiscard]] int poll_timeout(milliseconds longest = milliseconds{1000}) const {
        return static_cast<int>(std::min(left(), longest).count());
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end_;
};

} // namespace zrp::harness
