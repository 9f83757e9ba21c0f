#include "tests/support/failing_allocation.h"

#include <atomic>

// In a program linked with --wrap=calloc every call of calloc comes here.
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
