#include "tests/support/failing_allocation.h"

#include <atomic>

// The linker sends every calloc of such a program through __wrap_calloc.
extern "C" {
[[gnu::weak]] void* __real_calloc(size_t count, size_t size);
void* __wrap_calloc(size_t count, size_t size);
}

namespace {

std::atomic<size_t> failingSize{0};

} // namespace

void* __wrap_calloc(size_t count, size_t size) {
    const size_t failing = failingSize.load(std::memory_order_relaxed);
    return failing != 0 && count * size == failing ? nullptr : __real_calloc(count, size);
}

namespace zrp {

FailingAllocation::FailingAllocation(size_t size) {
    failingSize = size;
}

FailingAllocation::~FailingAllocation() {
    failingSize = 0;
}

} // namespace zrp
