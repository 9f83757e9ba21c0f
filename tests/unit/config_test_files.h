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
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
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

// A device of the test's own, which a fault may remove or change as it likes. False where the user
// may not make one. `minor` is that of /dev/null (3), /dev/zero (5) or /dev/full (7).
inline bool make_device(const std::string& path, unsigned minor) {
    constexpr unsigned kMemoryDevices = 1;
    return mknod(path.c_str(), S_IFCHR | 0666, makedev(kMemoryDevices, minor)) == 0 &&
           chmod(path.c_str(), 0666) == 0;
}

inline void write_file(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

inline std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline int exit_status(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs the function in a child and returns its result, -1 when the child did not end by itself.
template <typename Function>
int in_child(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(function());
    }
    return exit_status(child);
}

// Ends the process when a file grows above the size.
inline void kill_above_file_size(size_t bytes) {
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

// Makes writes fail at the given size of a file, as on a full disk.
inline void limit_file_size(size_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    kill_above_file_size(bytes);
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

// Runs the function in a child and stops it where it enters the system call for the first time.
// Returns -1 where tracing is not permitted, or when the child ended without that call.
template <typename Function>
pid_t stopped_at(long systemCall, Function function) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(kNotPermitted);
        }
        raise(SIGSTOP);
        _exit(function());
    }
    int status = 0;
    waitpid(child, &status, 0);
    while (WIFSTOPPED(status)) {
        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        __ptrace_syscall_info call = {};
        if (WIFSTOPPED(status) && ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call) > 0 &&
            call.op == PTRACE_SYSCALL_INFO_ENTRY &&
            call.entry.nr == static_cast<uint64_t>(systemCall)) {
            return child;
        }
    }
    return -1;
}

// Lets a stopped child go on and returns its result.
inline int end_of_stopped(pid_t child) {
    ptrace(PTRACE_DETACH, child, nullptr, nullptr);
    return exit_status(child);
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
