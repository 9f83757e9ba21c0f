#include "common/transport_connect.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "common/result.h"
#include "common/wait_listener.h"

namespace zrp {
namespace {

using std::chrono::milliseconds;

static_assert(sizeof(sockaddr_un::sun_path) == kMaxSocketName + 2);

// No exchange gets the number of a standard stream that the program runs without.
constexpr int kFirstDescriptor = STDERR_FILENO + 1;

// Makes connect() wait for room in the backlog, until it is time to look at the bounds.
void allow_waiting(int fd, const Bounds& bounds) {
    const timeval wait = to_timeval(std::max(next_slice(bounds.end, bounds.end), milliseconds{1}));
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
    fcntl(fd, F_SETFL, 0);
}

// A connect() that an interrupt or the end of the exchange's time can end: a full backlog is not a
// thing to poll for. Where there is room, the socket stays one that does not wait.
int connect_bounded(int fd, const sockaddr* address, socklen_t length, const Bounds& bounds) {
    for (;;) {
        const int rc = bounds.check();
        if (rc != kOk) {
            return rc;
        }
        if (connect(fd, address, length) == 0) {
            return kOk;
        }
        if (errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        tell_wait_listener();
        allow_waiting(fd, bounds);
    }
}

int connect_to(int fd, const char* name, const Bounds& bounds) {
    const size_t nameLength = strlen(name);
    if (nameLength > kMaxSocketName) {
        abort();
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name, nameLength);
    return connect_bounded(fd, reinterpret_cast<const sockaddr*>(&address),
                           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + nameLength),
                           bounds);
}

// Moves a descriptor out of the way of the standard streams.
int lift_descriptor(int fd) {
    if (fd < 0 || fd >= kFirstDescriptor) {
        return fd;
    }
    const int lifted = fcntl(fd, F_DUPFD_CLOEXEC, kFirstDescriptor);
    const int error = errno;
    close(fd);
    errno = error;
    return lifted;
}

// Opens a connection that the program may also use by itself.
int open_step(IPCClient& client, const char* name, const timeval& receiveTimeout) {
    const int rc = open_connection(client, name, receiveTimeout, {});
    const timeval forever = {};
    setsockopt(client.fd, SOL_SOCKET, SO_SNDTIMEO, &forever, sizeof forever);
    fcntl(client.fd, F_SETFL, 0);
    return rc;
}

} // namespace

int open_connection(IPCClient& client, const char* name, const timeval& receiveTimeout,
                    const Bounds& bounds) {
    if (client.fd > 0) {
        close(client.fd); // of an earlier attempt
    }
    client.fd = lift_descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (client.fd < 0) {
        return errno;
    }
    const int on = 1;
    setsockopt(client.fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (!is_none(receiveTimeout)) {
        setsockopt(client.fd, SOL_SOCKET, SO_RCVTIMEO, &receiveTimeout, sizeof receiveTimeout);
    }
    return connect_to(client.fd, name, bounds);
}

IPCClient::~IPCClient() {
    // Compatibility: descriptor 0 is left open and -1 is passed to close(), which refuses it.
    if (fd != 0) {
        close(fd);
    }
}

int IPCClient::Connect(const char* name) {
    return open_step(*this, name, {});
}

int IPCClient::ConnectTimeout(const char* name, int32_t timeoutMs) {
    return timeoutMs < 0 ? int{kInvalid}
                         : open_step(*this, name, to_timeval(milliseconds(timeoutMs)));
}

} // namespace zrp
