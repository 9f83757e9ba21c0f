// The six screens of the monitor.
#pragma once

#include "core/screen.h"

namespace zrp {

extern const ScreenSet kMonitorScreens;

} // namespace zrp
