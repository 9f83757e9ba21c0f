#include "screens/screen_table.h"

#include "core/monitor.h"
#include "screens/connection.h"
#include "screens/diag_counters.h"
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

} // namespace

constexpr ScreenSet kMonitorScreens = {
    kScreens,           sizeof kScreens / sizeof *kScreens,
    updateUpTimeWindow, clear_parameter_table,
    inithashtable,      releasehashtable,
};

} // namespace zrp
