// Makes an allocation of the library fail. For programs that are linked with --wrap=calloc.
#pragma once

#include <cstddef>

namespace zrp {

// While it lives, every calloc of exactly so many bytes gives null, on any thread.
struct FailingAllocation {
    explicit FailingAllocation(size_t size);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

} // namespace zrp
