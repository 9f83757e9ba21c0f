#include "core/monitor.h"

#include <cstdarg>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zrp {

MonitorState monitorState;

namespace {

// Root may start the program in a folder of somebody else, who could have put a link in the place
// of the trace to have another file overwritten. Opening does not wait for the reader of a FIFO.
FILE* open_trace_file() {
    constexpr mode_t kMode = 0666; // less the umask
    const int fd = open("zrptop.log",
                        O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kMode);
    if (fd < 0) {
        return nullptr;
    }
    struct stat status = {};
    const bool isOwnFile =
        fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
    FILE* file = isOwnFile && ftruncate(fd, 0) == 0 ? fdopen(fd, "w") : nullptr;
    if (file == nullptr) {
        close(fd);
    }
    return file;
}

} // namespace

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
    monitorState.traceFile = open_trace_file();
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
