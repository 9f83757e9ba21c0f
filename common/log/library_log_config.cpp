// The one place where the log meets the configuration files.
#include "../config/config_readers.h"
#include "../result.h"
#include "library_log.h"

namespace zrp {

int start_log_from_config(const char* configPath, time_t started) {
    int exists = 0;
    if (configPath == nullptr || ConfigFileExists(configPath, &exists) != kOk) {
        return kOk;
    }
    char text[kLogLevelTextSize] = "";
    int size = sizeof(text);
    const int rc = GetConfigValue(configPath, kLogLevelKey, text, &size, kDefaultLogLevel);
    start_log(text, started);
    return rc;
}

} // namespace zrp
