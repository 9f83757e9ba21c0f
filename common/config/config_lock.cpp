#include "common/config/config_lock.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

#include "common/config/config_file.h"

namespace zrp {
namespace {

using std::chrono::steady_clock;

constexpr timespec kPause = {.tv_sec = 0, .tv_nsec = 1'000'000};

int open_folder_of(const char* path) {
    const char* slash = strrchr(path, '/');
    const int length = slash != nullptr ? static_cast<int>(slash - path) + 1 : 0;
    char folder[PATH_MAX];
    if (std::cmp_greater_equal(snprintf(folder, sizeof folder, "%.*s.", length, path),
                               sizeof folder)) {
        return -1;
    }
    return open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

void lock(int folder) {
    const auto end = steady_clock::now() + std::chrono::seconds(kConfigLockPatience);
    while (flock(folder, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK &&
           steady_clock::now() < end) {
        nanosleep(&kPause, nullptr);
    }
}

} // namespace

ConfigLock::ConfigLock(const char* path) : folder_(open_folder_of(path)) {
    if (folder_ >= 0) {
        lock(folder_);
    }
}

ConfigLock::~ConfigLock() {
    if (folder_ >= 0) {
        // A child that was forked meanwhile has the descriptor too and would keep the lock.
        flock(folder_, LOCK_UN);
        close(folder_);
    }
}

} // namespace zrp
