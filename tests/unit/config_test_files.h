// Private files for the tests of the configuration files, and child processes in which calls fail.
#pragma once

#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zrp::test {

inline bool exists(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

inline unsigned mode_of(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : ~0U;
}

inline void write_file(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

inline std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Runs the function in a child and returns its result, -1 when the child did not end by itself.
template <typename Function>
int in_child(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(function());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Makes writes fail at the given size of a file, as on a full disk.
inline void limit_file_size(size_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

inline constexpr int kNotPermitted = 77;

// Enters private user and mount namespaces. Returns false where they are not permitted.
inline bool enter_private_mounts() {
    const std::string uid = "0 " + std::to_string(getuid()) + " 1";
    const std::string gid = "0 " + std::to_string(getgid()) + " 1";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", uid);
    write_file("/proc/self/gid_map", gid);
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// A private directory, the path of a configuration file in it, and a umask that the test chooses.
class ConfigTest : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/zrp_config_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        char canonical[PATH_MAX];
        ASSERT_NE(realpath(name, canonical), nullptr);
        directory = canonical;
        path = in("test.conf");
        oldMask = umask(022);
    }

    void TearDown() override {
        umask(oldMask);
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    [[nodiscard]] std::string in(const std::string& name) const {
        return directory + "/" + name;
    }

    void write(const std::string& content) const {
        write_file(path, content);
    }

    [[nodiscard]] std::string content() const {
        return read_file(path);
    }

    std::string directory;
    std::string path;
    mode_t oldMask = 0;
};

} // namespace zrp::test
