// Makes allocations of the library fail.
#pragma once

#include <cstddef>

namespace zrp {

// While it lives, malloc, realloc, strdup and new (std::nothrow) of exactly that size give null to
// this thread.
class FailingMalloc {
public:
    explicit FailingMalloc(size_t size);
    FailingMalloc(const FailingMalloc&) = delete;
    FailingMalloc& operator=(const FailingMalloc&) = delete;
    ~FailingMalloc();
};

} // namespace zrp
