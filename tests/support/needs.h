// What a test requires of the machine. Where that is missing, the test is skipped with the reason.
#pragma once

#include <gtest/gtest.h>

#include "tools/harness/private_network.h"

namespace zrp {

// The network that main() entered before the first test.
const harness::Network& test_network();

} // namespace zrp

// The monitor runs as root only.
#define ZRP_NEEDS_ROOT()                                                                           \
    if (!zrp::test_network().root) {                                                               \
        GTEST_SKIP() << "needs root: " << zrp::test_network().reason;                              \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

// Private namespaces: for mounts, and for more than one user of the names at a time.
#define ZRP_NEEDS_NAMESPACES()                                                                     \
    if (zrp::test_network().kind != zrp::harness::NetworkKind::kPrivate) {                         \
        GTEST_SKIP() << "needs namespaces: " << zrp::test_network().reason;                        \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

// For what the thread sanitizer itself changes.
#if defined(__SANITIZE_THREAD__)
#define ZRP_NEEDS_NO_THREAD_SANITIZER(reason) GTEST_SKIP() << "thread sanitizer: " << (reason)
#else
#define ZRP_NEEDS_NO_THREAD_SANITIZER(reason) static_assert(true, reason)
#endif
