#include "failing_malloc.h"

#include <cerrno>

// The linker sends every malloc of this program through __wrap_malloc.
extern "C" {
[[gnu::weak]] void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size);
}

namespace {

thread_local size_t failingSize = 0;

} // namespace

void* __wrap_malloc(size_t size) {
    if (failingSize != 0 && size == failingSize) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}

namespace zrp {

FailingMalloc::FailingMalloc(size_t size) {
    failingSize = size;
}

FailingMalloc::~FailingMalloc() {
    failingSize = 0;
}

} // namespace zrp
