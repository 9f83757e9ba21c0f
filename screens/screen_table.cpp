#include "screens/screen_table.h"

#include <cstddef>

#include "common/result.h"
#include "core/monitor.h"
#include "screens/diagnostics.h"
#include "screens/general.h"
#include "screens/version.h"

namespace zrp {
namespace {

// A dialog that has nothing to choose from: the screen shown before stays.
int no_dialog(int* /*fkeyHit*/, int* /*fkey*/) {
    return kInvalid;
}

constexpr Screen kScreens[] = {
    {kGeneralScreen, "General", drawGeneralLabels, updateGeneralWindow, nullptr},
    {kVolumeScreen, "Volume", nullptr, nullptr, no_dialog},
    {kConnectionScreen, "Connection", nullptr, nullptr, no_dialog},
    {kDiagnosticsScreen, "Diagnostics", drawDiagnosticsLabels, updateDiagnosticsWindow,
     SelectDiagnosticsType},
    {kParametersScreen, "Parameters", nullptr, nullptr, nullptr},
    {kVersionScreen, "Version", drawVersionFrame, drawVersionWindow, nullptr},
};

constexpr size_t kScreenCount = sizeof kScreens / sizeof *kScreens;

const Screen* neighbour(const Screen* screen, size_t steps) {
    return &kScreens[(static_cast<size_t>(screen - kScreens) + steps) % kScreenCount];
}

} // namespace

const Screen* find_screen(int id) {
    for (const Screen& screen : kScreens) {
        if (screen.id == id) {
            return &screen;
        }
    }
    return nullptr;
}

const Screen* next_screen(const Screen* screen) {
    return neighbour(screen, 1);
}

const Screen* previous_screen(const Screen* screen) {
    return neighbour(screen, kScreenCount - 1);
}

} // namespace zrp
