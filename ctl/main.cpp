// zrpctl: every operation of the client library from a shell.
#include <cstddef>

#include "ctl/program.h"

int main(int argc, char** argv) {
    zrp::ctl::prepare_process();
    return zrp::ctl::run_program({argv + 1, static_cast<size_t>(argc > 0 ? argc - 1 : 0)});
}
