#include "tools/harness/private_network.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <poll.h>
#include <sched.h>
#include <sstream>
#include <string_view>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>

#include "common/transport.h"
#include "tools/harness/descriptor.h"

namespace zrp::harness {
namespace {

constexpr std::array kDaemonNames = {kMainDaemonSocket, kStorageDaemonSocket, kManagementSocket};

// A holder that is killed releases the lock a moment before its children release the names.
constexpr milliseconds kAftermath{2000};
constexpr milliseconds kPollInterval{20};

std::string message(int error) {
    return std::generic_category().message(error);
}

// The steps into a private network return 0 or an errno.

int write_file(const char* path, const std::string& text) {
    const Descriptor file(open(path, O_WRONLY | O_CLOEXEC));
    const bool written = file && write(file.get(), text.data(), text.size()) >= 0;
    return written ? 0 : errno;
}

int unshare_namespaces(int flags) {
    if (unshare(flags | CLONE_NEWNET | CLONE_NEWNS) != 0) {
        return errno;
    }
    // What is mounted here from now on stays here.
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 ? 0 : errno;
}

int become_root(uid_t uid, gid_t gid) {
    int error = write_file("/proc/self/setgroups", "deny"); // else the group map is refused
    if (error == 0) {
        error = write_file("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    }
    if (error == 0) {
        error = write_file("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    }
    return error;
}

int enter_as_user() {
    const uid_t uid = geteuid(); // they read as "nobody" once inside
    const gid_t gid = getegid();
    int error = unshare(CLONE_NEWUSER) == 0 ? become_root(uid, gid) : errno;
    if (error == 0) {
        error = unshare_namespaces(0);
    }
    return error;
}

// A step that fails halfway cannot be undone, so a child tries it first.
int try_in_child(int (*step)()) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(step());
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : EAGAIN;
}

int enter_namespaces() {
    if (secure_getenv("ZRP_NO_NAMESPACES") != nullptr) {
        return ECANCELED;
    }
    if (geteuid() == 0 && unshare_namespaces(0) == 0) {
        return 0;
    }
    const int error = try_in_child(enter_as_user);
    return error == 0 ? enter_as_user() : error;
}

// The lock is an abstract name with a listener. It vanishes with its process, and those who wait
// see their connection to it end.

struct Address {
    sockaddr_un address{};
    socklen_t length = 0;
};

Address abstract_address(std::string_view name) {
    Address result;
    result.address.sun_family = AF_UNIX;
    name.copy(&result.address.sun_path[1], sizeof result.address.sun_path - 1);
    result.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return result;
}

const sockaddr* generic(const Address& address) {
    return reinterpret_cast<const sockaddr*>(&address.address);
}

Descriptor unix_socket() {
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

bool take_lock(const Descriptor& lock) {
    const Address name = abstract_address(kNetworkLock);
    return bind(lock.get(), generic(name), name.length) == 0 && listen(lock.get(), SOMAXCONN) == 0;
}

void wait_for_holder(const Deadline& deadline) {
    const Address name = abstract_address(kNetworkLock);
    const Descriptor waiter = unix_socket();
    if (connect(waiter.get(), generic(name), name.length) == 0) {
        pollfd ended{waiter.get(), POLLIN, 0};
        poll(&ended, 1, deadline.poll_timeout());
    } else {
        std::this_thread::sleep_for(kPollInterval); // not listening yet, or its backlog is full
    }
}

bool wait_for_lock(const Descriptor& lock, milliseconds patience) {
    const Deadline deadline(patience);
    while (!take_lock(lock)) {
        if (deadline.passed()) {
            return false;
        }
        wait_for_holder(deadline);
    }
    return true;
}

// A line of /proc/net/unix: address, references, protocol, flags, type, state, inode and path.
bool is_listener(const std::string& line, const std::string& name) {
    constexpr unsigned long kListening = 0x10000; // __SO_ACCEPTCON
    std::istringstream fields(line);
    std::string skipped;
    std::string flags;
    std::string path;
    fields >> skipped >> skipped >> skipped >> flags >> skipped >> skipped >> skipped >> path;
    return path == '@' + name && (std::strtoul(flags.c_str(), nullptr, 16) & kListening) != 0;
}

bool answers(std::string_view name) {
    const Address address = abstract_address(name);
    const Descriptor probe = unix_socket();
    return connect(probe.get(), generic(address), address.length) == 0 || errno == EAGAIN;
}

bool is_taken(const std::string& name) {
    std::ifstream table("/proc/net/unix"); // reading it does not disturb the listener
    if (!table) {
        return answers(name);
    }
    for (std::string line; std::getline(table, line);) {
        if (is_listener(line, name)) {
            return true;
        }
    }
    return false;
}

// The first of the names that still has a listener when it can no longer be a leftover.
std::optional<std::string> taken_name() {
    const Deadline aftermath(kAftermath);
    for (const std::string name : kDaemonNames) {
        while (is_taken(name)) {
            if (aftermath.passed()) {
                return name;
            }
            std::this_thread::sleep_for(kPollInterval);
        }
    }
    return std::nullopt;
}

Network share_network(const std::string& why, milliseconds lockPatience) {
    static Descriptor lock; // held until the process ends
    lock = unix_socket();
    Network network{NetworkKind::kRefused, getuid() == 0, why};
    if (!wait_for_lock(lock, lockPatience)) {
        network.reason += "; another program uses the machine's own network, and did not end";
        return network;
    }
    if (const auto name = taken_name()) {
        network.reason += "; on the machine's own network somebody listens on \"" + *name +
                          "\" already, and a running server is not touched";
        return network;
    }
    network.kind = NetworkKind::kShared;
    return network;
}

} // namespace

Network enter_private_network(milliseconds lockPatience) {
    const int error = enter_namespaces();
    if (error == 0) {
        return {NetworkKind::kPrivate, getuid() == 0, ""};
    }
    const std::string detail = error == ECANCELED ? "ZRP_NO_NAMESPACES is set" : message(error);
    return share_network("private namespaces are not permitted (" + detail + ")", lockPatience);
}

} // namespace zrp::harness
