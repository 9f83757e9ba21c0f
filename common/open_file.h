// Guard for an open stdio stream. Internal to the library and the monitor.
#pragma once

#include <cstdio>
#include <memory>

#pragma GCC visibility push(hidden)

namespace zrp {

struct FileCloser {
    void operator()(FILE* file) const {
        fclose(file);
    }
};

using OpenFile = std::unique_ptr<FILE, FileCloser>;

} // namespace zrp

#pragma GCC visibility pop
