// fuzz_readers DRIVER [LIBFUZZER ARGUMENT]...
//
// Fuzzes one of the drivers. Without arguments it lists them all, each with the folder of its
// corpus.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/support/drivers.h"

namespace {

void (*drive)(std::string_view input) = nullptr;

void list_drivers() {
    for (const zrp::Driver& driver : zrp::drivers()) {
        printf("%s %s\n", driver.name, zrp::corpus_folder(driver.corpus).c_str());
    }
}

} // namespace

// Takes the driver's name out of the arguments, before libFuzzer reads the rest.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    if (*argc < 2) {
        list_drivers();
        exit(0);
    }
    const std::string_view name = (*argv)[1];
    for (const zrp::Driver& driver : zrp::drivers()) {
        if (driver.name == name) {
            drive = driver.drive;
        }
    }
    if (drive == nullptr) {
        fprintf(stderr, "%s: no such driver\n", (*argv)[1]);
        exit(2);
    }
    (*argv)[1] = (*argv)[0];
    ++*argv;
    --*argc;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    drive({reinterpret_cast<const char*>(data), size});
    return 0;
}
