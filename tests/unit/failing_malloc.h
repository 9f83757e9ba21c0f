// Makes allocations of the library fail.
#pragma once

#include <cstddef>

namespace zrp {

// During its lifetime, malloc, realloc, strdup and new (std::nothrow) of exactly that size return
// null on this thread.
class FailingMalloc {
public:
    explicit FailingMalloc(size_t size);
    FailingMalloc(const FailingMalloc&) = delete;
    FailingMalloc& operator=(const FailingMalloc&) = delete;
    ~FailingMalloc();
};

} // namespace zrp
