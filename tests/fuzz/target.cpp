// A fuzz target: one of the reader's drivers, by the name that the build gives it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tests/support/reader_drivers.h"

namespace {

const zrp::ReaderDriver& driver() {
    for (const zrp::ReaderDriver& candidate : zrp::reader_drivers()) {
        if (std::string_view(candidate.name) == ZRP_FUZZ_DRIVER) {
            return candidate;
        }
    }
    abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const zrp::ReaderDriver& chosen = driver();
    chosen.drive({reinterpret_cast<const char*>(data), size});
    return 0;
}
