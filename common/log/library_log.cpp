#include "library_log.h"

#include "log_keywords.h"

namespace zrp {

LogContext* attach_log(LogContext* log, const char* path, int level) {
    if (log != nullptr || path == nullptr) {
        return log;
    }
    log = InitLogContext(path, kLogError);
    log->operations.SetLogLevel(level);
    log->operations.LogOpen(path);
    return log;
}

void start_log(const char* levelText, time_t started) {
    const LogContext& log = *GetLogContext();
    if (*levelText == '\0') {
        log.operations.SetLogLevel(kLogWarning);
    } else {
        ProcessLogLevel(levelText);
    }
    tm local = {};
    char text[64] = "\n"; // asctime_r ends its text in a newline and wants 26 bytes
    localtime_r(&started, &local);
    asctime_r(&local, text);
    log.operations.LogInfo("... libauthgate started %s", text);
    log.operations.LogInfo("... log level = %d", log.level.load());
}

} // namespace zrp
