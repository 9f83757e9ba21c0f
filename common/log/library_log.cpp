#include "common/log/library_log.h"

#include <cstdio>

#include "common/config/config_readers.h"
#include "common/log/log_keywords.h"
#include "common/log/log_state.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr const char* kDefaultLogLevel = "WARNING";
constexpr int kLogLevelTextSize = 64; // with its terminator

} // namespace

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
    char text[64] = "\n"; // asctime_r needs 26 bytes and ends its text in a newline
    localtime_r(&started, &local);
    asctime_r(&local, text);
    log.operations.LogInfo("... libauthgate started %s", text);
    log.operations.LogInfo("... log level = %d", log.level.load());
}

int start_log_from_config(const char* configPath, time_t started) {
    int exists = 0;
    if (configPath == nullptr || ConfigFileExists(configPath, &exists) != kOk) {
        return kOk;
    }
    char text[kLogLevelTextSize] = "";
    int size = sizeof text;
    const int rc = GetConfigValue(configPath, kLogLevelKey, text, &size, kDefaultLogLevel);
    start_log(text, started);
    return rc;
}

int InitLibraryLog(LibraryLog* context, const char* name, const char* configPath,
                   const char* logPath, int level) {
    if (context == nullptr) {
        return kInvalid;
    }
    const time_t started = time(nullptr);
    if (context->initialised == 0) {
        context->initialised = 1;
        snprintf(context->name, sizeof context->name, "%s", name != nullptr ? name : "");
    }
    context->log = attach_log(context->log, logPath, level);
    return start_log_from_config(configPath, started);
}

} // namespace zrp
