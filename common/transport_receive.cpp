#include "common/transport_receive.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "common/wait_listener.h"

namespace zrp {
namespace {

using std::chrono::milliseconds;

// What a receive begins with. While a daemon takes a request, a recv() that waits by itself is
// woken for each piece; a poll() for input is not.
enum class FirstStep { kReceive, kWait };

struct Received {
    int rc;        // kOk, ECANCELED or ETIMEDOUT
    ssize_t count; // of bytes, or -1 with errno as recv() sets it; EAGAIN when the timeout is up
};

// Makes one recv() that an interrupt can end.
Received receive_once(int fd, FirstStep first, void* data, size_t size, const timeval& timeout,
                      const Bounds& bounds) {
    int rc =
        first == FirstStep::kReceive ? bounds.check() : wait_ready(fd, POLLIN, timeout, bounds);
    while (rc == kOk) {
        const ssize_t count = recv(fd, data, size, MSG_DONTWAIT);
        if (count >= 0 || (errno != EAGAIN && errno != EINTR)) {
            return {kOk, count};
        }
        rc = wait_ready(fd, POLLIN, timeout, bounds);
    }
    if (rc == EAGAIN) {
        errno = EAGAIN;
        return {kOk, -1};
    }
    return {rc, -1};
}

void let_bytes_gather(milliseconds pause, const Bounds& bounds) {
    if (pause > milliseconds{0}) {
        const milliseconds slice = std::min(pause, next_slice(bounds.end, bounds.end));
        poll(nullptr, 0, static_cast<int>(slice.count()));
        tell_wait_listener();
    }
}

// Fills the body as far as the peer sends it. *filled becomes the number of bytes that came.
//
// Compatibility: the -1 of a failed recv() is added to the total like any count. Before the first
// byte that makes the total larger than any length and ends the loop; later it moves the position
// back by one byte and the loop goes on.
int receive_body(int fd, char* body, uint64_t length, const timeval& timeout, const Bounds& bounds,
                 uint64_t* filled) {
    SmallPieces pieces;
    uint64_t total = 0;
    while (total < length) {
        const auto [rc, count] =
            receive_once(fd, FirstStep::kReceive, body + total, length - total, timeout, bounds);
        if (rc != kOk) {
            return rc;
        }
        if (count == 0) {
            break;
        }
        total += static_cast<uint64_t>(count);
        *filled = count > 0 ? std::max(*filled, total) : *filled;
        if (count > 0 && total < length && is_none(timeout)) {
            let_bytes_gather(pause_after_piece(&pieces, static_cast<size_t>(count)), bounds);
        }
    }
    return kOk;
}

// The body of a whole reply. What a header announces is only a claim: the block grows with what
// comes, so that a false one costs no memory.
int receive_whole_body(int fd, uint64_t length, const timeval& timeout, const Bounds& bounds,
                       HeapText* body) {
    constexpr uint64_t kFirstRoom = 1U << 16;
    SmallPieces pieces;
    uint64_t room = 0;
    for (uint64_t total = 0; total < length;) {
        if (total == room) {
            room = std::min(length, std::max(kFirstRoom, 2 * room));
            char* grown = static_cast<char*>(realloc(body->get(), room));
            if (grown == nullptr) {
                return kNoMemory;
            }
            (void)body->release();
            body->reset(grown);
        }
        const auto [rc, count] = receive_once(fd, FirstStep::kReceive, body->get() + total,
                                              room - total, timeout, bounds);
        if (rc != kOk) {
            return rc;
        }
        if (count <= 0) {
            return count < 0 && errno == EAGAIN ? ETIMEDOUT : int{kShortHeader};
        }
        total += static_cast<uint64_t>(count);
        if (total < length) {
            let_bytes_gather(pause_after_piece(&pieces, static_cast<size_t>(count)), bounds);
        }
    }
    return kOk;
}

int receive_header(const IPCClient& client, const timeval& timeout, const Bounds& bounds,
                   ReplyHeader* header) {
    if (client.fd < 0) {
        return kShortHeader;
    }
    size_t total = 0;
    do {
        const auto [rc, count] =
            receive_once(client.fd, FirstStep::kWait, reinterpret_cast<char*>(header) + total,
                         sizeof *header - total, timeout, bounds);
        if (rc != kOk) {
            return rc;
        }
        if (count <= 0) {
            return count < 0 && errno == EAGAIN && bounds.wholeReply ? ETIMEDOUT
                                                                     : int{kShortHeader};
        }
        total += static_cast<size_t>(count);
    } while (bounds.wholeReply && total < sizeof *header);
    if (total != sizeof *header) {
        return kShortHeader;
    }
    return header->magic == kMagic ? kOk : kBadMagic;
}

// Clearing a block of such a size costs nothing: the allocator has it mapped, whatever was freed
// before. A shorter one is cleared only where the peer has not filled it.
constexpr uint32_t kMappedSize = 32 << 20;

char* allocate_body(uint32_t length) {
    return static_cast<char*>(length > kMappedSize ? calloc(1, length) : malloc(length));
}

void clear_rest(char* body, uint32_t length, uint64_t filled) {
    if (length <= kMappedSize) {
        memset(body + filled, 0, length - filled);
    }
}

} // namespace

int receive_reply(const IPCClient& client, const timeval& timeout, const Bounds& bounds,
                  uint32_t* status, uint64_t* length, char** buffer) {
    *buffer = nullptr;
    ReplyHeader header = {};
    int rc = receive_header(client, timeout, bounds, &header);
    if (rc != kOk) {
        return rc;
    }
    *status = header.status;
    *length = header.length;
    if (header.length == 0) {
        return kOk;
    }
    if (header.length > bounds.longestReply) {
        return kTooLong;
    }
    HeapText body;
    uint64_t filled = 0;
    if (bounds.wholeReply) {
        rc = receive_whole_body(client.fd, header.length, timeout, bounds, &body);
        filled = header.length;
    } else {
        body.reset(allocate_body(header.length));
        rc = body == nullptr
                 ? int{kNoMemory}
                 : receive_body(client.fd, body.get(), header.length, timeout, bounds, &filled);
    }
    if (rc == kOk) {
        clear_rest(body.get(), header.length, filled);
        *buffer = body.release();
    }
    return rc;
}

milliseconds pause_after_piece(SmallPieces* pieces, size_t count) {
    constexpr size_t kSmall = 4096;
    constexpr int kTolerated = 16;
    constexpr int kDoublings = 7;
    pieces->inARow = count < kSmall ? std::min(pieces->inARow + 1, kTolerated + kDoublings) : 0;
    const int doublings = pieces->inARow - kTolerated;
    return milliseconds{doublings > 0 ? 1 << doublings : 0};
}

int IPCClient::Receive(uint32_t* status, uint64_t* length, char** buffer) const {
    timeval timeout = {};
    socklen_t size = sizeof timeout;
    getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, &size);
    return receive_reply(*this, timeout, {}, status, length, buffer);
}

} // namespace zrp
