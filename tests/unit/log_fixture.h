// The fixture of the log's tests: a private log file, a private system log, and readers of both.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sched.h>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/log/log_context.h"

namespace zrp {

// Replaces each time such as "2024-05-06 07:08:09" with TIME.
inline std::string mask_times(std::string text) {
    static constexpr std::string_view kShape = "0000-00-00 00:00:00";
    const auto fits = [](char shape, char c) {
        return shape == '0' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : c == shape;
    };
    for (size_t at = 0; at + kShape.size() <= text.size(); at++) {
        if (std::equal(kShape.begin(), kShape.end(), text.data() + at, fits)) {
            text.replace(at, kShape.size(), "TIME");
        }
    }
    return text;
}

// Shuts down the log of the process before and after each test, and removes the folder.
class LogTest : public testing::Test {
protected:
    LogTest() {
        operations().LogShutdown();
        std::string pattern = testing::TempDir() + "zrplogXXXXXX";
        folder = mkdtemp(pattern.data());
        path = folder + "/log";
    }

    ~LogTest() override {
        operations().LogShutdown();
        std::filesystem::remove_all(folder);
    }

    static const LogOperations& operations() {
        return GetLogContext()->operations;
    }

    // Reads a log file, whose owner may change its mode even without root.
    static std::string bytes_of(const std::string& file) {
        chmod(file.c_str(), 0600);
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }

    // The same with TIME for each time stamp.
    std::string contents() const {
        return mask_times(bytes_of(path));
    }

    void empty_file() const {
        chmod(path.c_str(), 0600);
        std::filesystem::resize_file(path, 0);
    }

    std::string folder;
    std::string path;
};

// The socket at /dev/log of a private namespace.
class SystemLog {
public:
    SystemLog() : fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    ~SystemLog() {
        close(fd);
    }
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    // Returns "<priority>identity: text" of the oldest message, with PID for the process id, or ""
    // when there is none. A message is in the queue when syslog() returns.
    std::string next() const {
        std::string text(65536, '\0');
        const ssize_t length = recv(fd, text.data(), text.size(), MSG_DONTWAIT);
        if (length < 0) {
            return "";
        }
        text.resize(static_cast<size_t>(length));
        const size_t stamp = text.find('>') + 1;
        text.erase(stamp, std::strlen("Nov 21 01:30:00 "));
        const std::string process = "[" + std::to_string(getpid()) + "]: ";
        const size_t at = text.find(process);
        return at == std::string::npos ? text : text.replace(at, process.size(), "[PID]: ");
    }

private:
    int fd;
};

inline bool write_file(const char* file, const std::string& text) {
    const int fd = open(file, O_WRONLY | O_CLOEXEC);
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written;
}

// Enters a private mount namespace, and a user namespace where that is necessary.
inline bool enter_private_mounts() {
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
            !write_file("/proc/self/setgroups", "deny") ||
            !write_file("/proc/self/uid_map", user) || !write_file("/proc/self/gid_map", group)) {
            return false;
        }
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// Runs the body in a child process and fails when an expectation of the body fails. A body that
// cannot run returns false, and the test is skipped.
#define IN_CHILD(reason, ...)                                                                      \
    do {                                                                                           \
        const int outcome = zrp::run_in_child(__VA_ARGS__);                                        \
        if (outcome == zrp::kChildSkipped) {                                                       \
            GTEST_SKIP() << (reason);                                                              \
        }                                                                                          \
        ASSERT_EQ(outcome, 0);                                                                     \
    } while (false)

inline constexpr int kChildSkipped = 77;

inline int run_in_child(const std::function<bool()>& body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const bool ran = body();
        fflush(nullptr);
        _exit(ran ? testing::Test::HasFailure() : kChildSkipped);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A private, empty /dev, where a test may listen at /dev/log or leave it missing. No test writes to
// the system log of the machine.
inline bool with_private_dev(const std::function<void()>& body) {
    if (!enter_private_mounts() || mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0) {
        return false;
    }
    body();
    return true;
}

#define IN_PRIVATE_DEV(...)                                                                        \
    IN_CHILD("mount namespaces are not permitted here",                                            \
             [&] { return zrp::with_private_dev(__VA_ARGS__); })

} // namespace zrp
