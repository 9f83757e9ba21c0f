// The screens of the monitor, a row for each.
#pragma once

#include "core/screen.h"

namespace zrp {

extern const ScreenSet kMonitorScreens;

} // namespace zrp
