// A fuzz target: one of the drivers, by the name that the build gives it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tests/support/drivers.h"

namespace {

const zrp::Driver& driver() {
    for (const zrp::Driver& candidate : zrp::drivers()) {
        if (std::string_view(candidate.name) == ZRP_FUZZ_DRIVER) {
            return candidate;
        }
    }
    abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const zrp::Driver& chosen = driver();
    chosen.drive({reinterpret_cast<const char*>(data), size});
    return 0;
}
