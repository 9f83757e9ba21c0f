// Memory for a reply of the greatest length that a header can announce, four gigabytes. It costs
// next to nothing, but the address sanitizer writes a byte for each eight of it.
#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "tools/harness/deadline.h"
#include "tools/harness/descriptor.h"

namespace zrp {

// The thread sanitizer clears the whole reply, and looks at each byte that a scan passes.
#if defined(__SANITIZE_THREAD__)
inline constexpr uint32_t kHugeLength = 1U << 22;
#else
inline constexpr uint32_t kHugeLength = UINT32_MAX;
#endif

// How long to wait for what follows such a reply, on a busy machine.
inline constexpr harness::milliseconds kHugeReplyPatience{120000};

// One test at a time, over all processes, may have such replies while it lives.
class HugeReplies {
public:
    explicit HugeReplies(bool wanted = true);

    // What the machine lacks for them, or empty.
    [[nodiscard]] const std::string& missing() const {
        return missing_;
    }

private:
    harness::Descriptor turn_;
    std::string missing_;
};

} // namespace zrp

// Where memory is short, the test is skipped and says so.
#define ZRP_NEEDS_MEMORY_FOR_HUGE_REPLIES(...)                                                     \
    const zrp::HugeReplies hugeReplies{__VA_ARGS__};                                               \
    if (!hugeReplies.missing().empty()) {                                                          \
        GTEST_SKIP() << hugeReplies.missing();                                                     \
    }                                                                                              \
    static_assert(true, "takes the semicolon")
