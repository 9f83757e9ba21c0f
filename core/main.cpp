#include "core/lifecycle.h"

int main(int argc, char** argv) {
    return zrp::run_monitor(argc, argv);
}
