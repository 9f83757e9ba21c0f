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

void open_trace() {
    close_trace();
    monitorState.traceFile = fopen("zrptop.log", "we");
    monitorState.traceEnabled = monitorState.traceFile != nullptr ? 1 : 0;
    constexpr char kRule[] =
        "***************************************************************************************";
    static_assert(sizeof kRule - 1 == 87);
    trace("\n%s\n", kRule);
}

void close_trace() {
    if (monitorState.traceEnabled != 0) {
        fflush(monitorState.traceFile);
        fclose(monitorState.traceFile);
        monitorState.traceFile = nullptr;
        monitorState.traceEnabled = 0;
    }
}

} // namespace zrp
