#include "core/monitor.h"

#include <cstdarg>

namespace zrp {

MonitorState monitorState;

void trace(const char* format, ...) {
    if (monitorState.traceEnabled == 0) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vfprintf(monitorState.traceFile, format, arguments);
    va_end(arguments);
    fflush(monitorState.traceFile);
}

} // namespace zrp
