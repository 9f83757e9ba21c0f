#include "screens/screen_table.h"

#include <cstddef>

#include "core/monitor.h"
#include "screens/connection.h"
#include "screens/diagnostics.h"
#include "screens/general.h"
#include "screens/parameters.h"
#include "screens/version.h"
#include "screens/volume.h"
#include "screens/volume_dialog.h"

namespace zrp {
namespace {

constexpr Screen kScreens[] = {
    {kGeneralScreen, "General", drawGeneralLabels, updateGeneralWindow, nullptr},
    {kVolumeScreen, "Volume", drawVolumeLabels, updateVolumeWindow, SelectVolumeNumber},
    {kConnectionScreen, "Connection", drawConnectionLabels, updateConnectionWindow,
     SelectConnectionNumber},
    {kDiagnosticsScreen, "Diagnostics", drawDiagnosticsLabels, updateDiagnosticsWindow,
     SelectDiagnosticsType},
    {kParametersScreen, "Parameters", drawParameterLabels, updateParameterWindow, nullptr},
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
