#include "tests/unit/failing_malloc.h"

#include <cerrno>
#include <cstring>
#include <new>

// The linker replaces every call of malloc in this program by __wrap_malloc, and so on. The last
// one is new (std::nothrow), under its mangled name.
extern "C" {
[[gnu::weak]] void* __real_malloc(size_t size);
[[gnu::weak]] void* __real_realloc(void* block, size_t size);
[[gnu::weak]] char* __real_strdup(const char* text);
[[gnu::weak]] void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap_malloc(size_t size);
void* __wrap_realloc(void* block, size_t size);
char* __wrap_strdup(const char* text);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
}

namespace {

thread_local size_t failingSize = 0;

bool fails(size_t size) {
    return failingSize != 0 && size == failingSize;
}

} // namespace

void* __wrap_malloc(size_t size) {
    if (fails(size)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}

void* __wrap_realloc(void* block, size_t size) {
    if (fails(size)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_realloc(block, size);
}

// Does not set errno: a function that promises ENOMEM must set it itself.
char* __wrap_strdup(const char* text) {
    return fails(strlen(text) + 1) ? nullptr : __real_strdup(text);
}

void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
    return fails(size) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

namespace zrp {

FailingMalloc::FailingMalloc(size_t size) {
    failingSize = size;
}

FailingMalloc::~FailingMalloc() {
    failingSize = 0;
}

} // namespace zrp
