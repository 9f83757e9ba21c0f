#include "common/config/file_system.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "common/config/config_lines.h"
#include "common/heap_text.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr int kFailed = -1;
constexpr long kRefusedFileSystem = 0x12A783C;
constexpr mode_t kDefaultDirectoryMode = 0777;
constexpr mode_t kToolDirectoryMode = 0744;

int make_directory(const char* path, mode_t mode, int errnoOfOther) {
    if (mkdir(path, mode) == 0) {
        return kOk;
    }
    if (errno != EEXIST && errno != EISDIR) {
        return kFailed;
    }
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return kFailed;
    }
    if (!S_ISDIR(status.st_mode)) {
        errno = errnoOfOther;
        return kFailed;
    }
    return kOk;
}

int create_file(const char* path, const char* content) {
    OpenFile file(fopen(path, "w+e"));
    if (!file) {
        return errno;
    }
    fchmod(fileno(file.get()), kConfigFileMode);
    const bool written = fputs(content, file.get()) != EOF;
    const bool closed = fclose(file.release()) == 0;
    return written && closed ? int{kOk} : errno;
}

} // namespace

int CheckDirectoryFileSystem(const char* path) {
    if (path == nullptr) {
        return kInvalid;
    }
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return kFailed;
    }
    if (!S_ISDIR(status.st_mode)) {
        return kInvalid;
    }
    struct statfs fileSystem = {};
    if (statfs(path, &fileSystem) != 0) {
        return kFailed;
    }
    return check_file_system_type(fileSystem.f_type);
}

int check_file_system_type(long type) {
    return type == kRefusedFileSystem ? kInvalid : kOk;
}

int IsCanonicalPath(const char* path) {
    if (path == nullptr) {
        return kInvalid;
    }
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return errno;
    }
    char canonical[PATH_MAX];
    const bool same = realpath(path, canonical) != nullptr && strcmp(canonical, path) == 0;
    return same ? int{kOk} : ELOOP;
}

int MakeDirPath(const char* path, mode_t mode) {
    if (path == nullptr) {
        errno = EINVAL;
        return kFailed;
    }
    const HeapText copy(strdup(path));
    if (!copy) {
        errno = ENOMEM;
        return kFailed;
    }
    if (mode == 0) {
        mode = kDefaultDirectoryMode;
    }
    char* end = *copy == '/' ? copy.get() + 1 : copy.get();
    for (; (end = strchr(end, '/')) != nullptr && end[1] != '\0'; *end++ = '/') {
        *end = '\0';
        if (make_directory(copy.get(), mode, ENOTDIR) != kOk) {
            return kFailed;
        }
    }
    if (end != nullptr) {
        *end = '\0';
    }
    return make_directory(copy.get(), mode, EEXIST);
}

int MakeDirectories(const char* path) {
    return MakeDirPath(path, kToolDirectoryMode) == kOk ? int{kOk} : errno;
}

int CreateFileAndLink(const char* directory, const char* target, const char* link,
                      const char* content) {
    if (directory == nullptr || target == nullptr || link == nullptr) {
        return kInvalid;
    }
    // A directory that is missing after this makes the creation of the file fail.
    MakeDirectories(directory);
    struct stat status = {};
    if (stat(target, &status) != 0) {
        const int rc = create_file(target, content != nullptr ? content : "");
        if (rc != kOk) {
            return rc;
        }
    }
    if (lstat(link, &status) == 0) {
        return kOk;
    }
    return symlink(target, link) == 0 ? int{kOk} : errno;
}

int PathsMatch(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    while (*a != '\0' && *a == *b) {
        a++;
        b++;
    }
    const bool equal = *a == *b;
    const bool below = (*a == '\0' && *b == '/') || (*a == '/' && *b == '\0');
    return equal || below ? 1 : 0;
}

} // namespace zrp
