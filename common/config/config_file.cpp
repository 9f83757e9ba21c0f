#include "common/config/config_file.h"

#include <sys/stat.h>

#include "common/config/config_lines.h"
#include "common/result.h"

namespace zrp {

int ConfigFileExists(const char* path, int* exists) {
    if (path == nullptr || exists == nullptr) {
        return kInvalid;
    }
    const OpenFile file(fopen(path, "r+e"));
    *exists = file ? 1 : 0;
    return file ? kOk : kNotFound;
}

void SetConfigFileMode(const char* path) {
    if (path != nullptr) {
        chmod(path, kConfigFileMode);
    }
}

void FixConfigFilePermissions() {
    fix_permissions(kServerConfigPath, kStorageConfigPath);
}

void fix_permissions(const char* serverPath, const char* storagePath) {
    SetConfigFileMode(serverPath);
    int exists = 0;
    if (ConfigFileExists(storagePath, &exists) == kOk) {
        SetConfigFileMode(storagePath);
    }
}

} // namespace zrp
