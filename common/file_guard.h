// Guard for an open file.
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

// Owns an open file and closes it at the end of its scope.
using File = std::unique_ptr<FILE, FileCloser>;

} // namespace zrp

#pragma GCC visibility pop
