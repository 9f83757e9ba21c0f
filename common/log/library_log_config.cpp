// The one place where the log meets the configuration files.
#include "common/config/config_readers.h"
#include "common/log/library_log.h"
#include "common/result.h"

namespace zrp {

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

} // namespace zrp
