#include "screens/screen_table.h"

#include <cstddef>

#include "common/result.h"
#include "core/monitor.h"
#include "screens/connection.h"
#include "screens/general.h"
#include "screens/parameters.h"
#include "screens/volume.h"
#include "screens/volume_dialog.h"

namespace zrp {
namespace {

// A dialog that has nothing to choose from: the screen shown before stays.
int no_dialog(int* /*fkeyHit*/, int* /*fkey*/) {
    return kInvalid;
}

constexpr Screen kScreens[] = {
    {kGeneralScreen, "General", drawGeneralLabels, updateGeneralWindow, nullptr},
    {kVolumeScreen, "Volume", drawVolumeLabels, updateVolumeWindow, SelectVolumeNumber},
    {kConnectionScreen, "Connection", drawConnectionLabels, updateConnectionWindow,
     SelectConnectionNumber},
    {kDiagnosticsScreen, "Diagnostics", nullptr, nullptr, no_dialog},
    {kParametersScreen, "Parameters", drawParameterLabels, updateParameterWindow, nullptr},
    {kVersionScreen, "Version", nullptr, nullptr, nullptr},
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
