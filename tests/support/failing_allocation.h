// Makes an allocation of the library fail. For programs linked with --wrap=calloc.
#pragma once

#include <cstddef>

namespace zrp {

// During its lifetime every calloc of exactly so many bytes returns null, on any thread.
struct FailingAllocation {
    explicit FailingAllocation(size_t size);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

} // namespace zrp
