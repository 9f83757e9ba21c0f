#include "screens/screen_table.h"

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
    {.key = KEY_F(2),
     .menuText = "General",
     .drawLabels = drawGeneralLabels,
     .update = updateGeneralWindow},
    {.key = KEY_F(3),
     .menuText = "Volume",
     .drawLabels = drawVolumeLabels,
     .update = updateVolumeWindow,
     .runDialog = SelectVolumeNumber},
    {.key = KEY_F(4),
     .menuText = "Connection",
     .drawLabels = drawConnectionLabels,
     .update = updateConnectionWindow,
     .runDialog = SelectConnectionNumber},
    {.key = KEY_F(5),
     .menuText = "Diagnostics",
     .drawLabels = drawDiagnosticsLabels,
     .update = updateDiagnosticsWindow,
     .runDialog = SelectDiagnosticsType,
     .prepare = inithashtable,
     .release = releasehashtable},
    {.key = KEY_F(6),
     .menuText = "Parameters",
     .drawLabels = drawParameterLabels,
     .update = updateParameterWindow,
     .clear = clear_parameter_table},
    {.key = KEY_F(7),
     .toleratesRefusal = true,
     .menuText = "Version",
     .drawLabels = drawVersionFrame,
     .update = drawVersionWindow},
};

} // namespace

constexpr ScreenSet kMonitorScreens = {kScreens, updateUpTimeWindow};

} // namespace zrp
