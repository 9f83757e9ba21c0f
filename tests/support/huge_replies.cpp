#include "tests/support/huge_replies.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <sys/file.h>
#include <system_error>

namespace zrp {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kGigabyte = uint64_t{1} << 30;

constexpr uint64_t kNeeded = 2 * kGigabyte;

// The number after a word in a file of words and numbers; the first number for no word.
std::optional<uint64_t> number_in(const fs::path& path, std::string_view after = "") {
    std::ifstream file(path);
    std::string word;
    while (!after.empty() && word != after) {
        if (!(file >> word)) {
            return std::nullopt;
        }
    }
    uint64_t number = 0;
    return file >> number ? std::optional(number) : std::nullopt;
}

struct GroupFiles {
    const char* controller; // as /proc/self/cgroup writes it
    const char* mount;
    const char* limit;
    const char* used;
    const char* cached; // a word in memory.stat
};

constexpr GroupFiles kGroupFiles[] = {
    {"0::", "/sys/fs/cgroup", "memory.max", "memory.current", "file"},
    {":memory:", "/sys/fs/cgroup/memory", "memory.limit_in_bytes", "memory.usage_in_bytes",
     "cache"},
};

// The process's own group, or the top where a container shows no other.
fs::path group_folder(const GroupFiles& files) {
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        const size_t at = line.find(files.controller);
        if (at != std::string::npos) {
            const fs::path own =
                files.mount + line.substr(at + std::string_view(files.controller).size());
            return fs::exists(own / files.limit) ? own : fs::path(files.mount);
        }
    }
    return files.mount;
}

// What the container's limit leaves. What its files keep in memory gives way.
uint64_t left_by_limit(const GroupFiles& files) {
    const fs::path folder = group_folder(files);
    const auto limit = number_in(folder / files.limit);
    if (!limit) {
        return UINT64_MAX;
    }
    const uint64_t used = number_in(folder / files.used).value_or(0);
    const uint64_t cached = number_in(folder / "memory.stat", files.cached).value_or(0);
    const uint64_t held = used - std::min(used, cached);
    return *limit - std::min(*limit, held);
}

uint64_t available_memory() {
    const auto kilobytes = number_in("/proc/meminfo", "MemAvailable:");
    uint64_t available = kilobytes ? *kilobytes * 1024 : UINT64_MAX;
    for (const GroupFiles& files : kGroupFiles) {
        available = std::min(available, left_by_limit(files));
    }
    return available;
}

// A lock on a file, for abstract names are private to a network.
harness::Descriptor wait_for_turn() {
    const fs::path path = fs::temp_directory_path() / "zrptop-huge-replies.lock";
    harness::Descriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    while (lock && flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    return lock;
}

} // namespace

HugeReplies::HugeReplies(bool wanted) {
    if (!wanted || kHugeLength < UINT32_MAX) {
        return;
    }
    turn_ = wait_for_turn();
    const uint64_t available = available_memory();
    if (available < kNeeded) {
        missing_ = "needs " + std::to_string(kNeeded / kGigabyte) +
                   " GiB of memory: " + std::to_string(available >> 20) + " MiB are available";
    }
}

} // namespace zrp
