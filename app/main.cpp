#include "core/startup.h"
#include "screens/screen_table.h"

int main(int argc, char** argv) {
    return zrp::run_monitor(argc, argv, zrp::kMonitorScreens);
}
