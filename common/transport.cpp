#include "common/transport.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <poll.h>
#include <span>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <type_traits>
#include <unistd.h>

#include "common/exchange.h"
#include "common/heap_text.h"
#include "common/in_flight.h"
#include "common/interrupt.h"
#include "common/result.h"
#include "common/thread_limits.h"

namespace zrp {
namespace {

static_assert(sizeof(sockaddr_un::sun_path) == kMaxSocketName + 2);

// Compatibility: the copy of the default name is allocated with this much extra room.
constexpr size_t kDefaultNameSlack = 128;

std::atomic<char*> defaultName{nullptr};
std::atomic<uint32_t> inFlight{0};
std::atomic<uint32_t> exchangeCount{0};
std::atomic<uint32_t> failureCount{0};

// No exchange gets the number of a standard stream that the program runs without.
constexpr int kFirstDescriptor = STDERR_FILENO + 1;

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// What a wait obeys besides its own timeout.
struct Bounds {
    uint32_t interruptMark = interrupt_mark();
    Clock::time_point end = Clock::time_point::max(); // of the exchange
    bool wholeReply = false;
    uint32_t longestReply = UINT32_MAX;

    [[nodiscard]] int check() const {
        if (is_interrupted_since(interruptMark)) {
            return ECANCELED;
        }
        const bool isLimited = end != Clock::time_point::max();
        return isLimited && Clock::now() >= end ? ETIMEDOUT : int{kOk};
    }
};

Bounds bounds_of(const ThreadLimits& limits) {
    Bounds bounds;
    bounds.end = limits.deadline;
    if (limits.perExchange != milliseconds::max()) {
        bounds.end = std::min(bounds.end, Clock::now() + limits.perExchange);
    }
    bounds.wholeReply = limits.wholeReply;
    bounds.longestReply = limits.longestReply;
    return bounds;
}

// The time until the earlier of two moments, or until it is worth looking for an interrupt.
milliseconds next_slice(Clock::time_point a, Clock::time_point b,
                        milliseconds longest = kInterruptSlice) {
    const Clock::time_point first = std::min(a, b);
    const Clock::time_point now = Clock::now();
    return first > now + longest
               ? longest
               : std::max(std::chrono::ceil<milliseconds>(first - now), milliseconds{0});
}

timeval to_timeval(milliseconds time) {
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {whole.count(), std::chrono::microseconds(time - whole).count()};
}

bool is_none(const timeval& timeout) {
    return timeout.tv_sec == 0 && timeout.tv_usec == 0;
}

// Waits until the socket is ready for the events. A timeout of 0 is none. Returns kOk; ECANCELED
// after an interrupt; ETIMEDOUT at the end of the exchange's time; or EAGAIN when the timeout is
// up.
int wait_ready(int fd, short events, const timeval& timeout, const Bounds& bounds) {
    const Clock::time_point stepEnd = is_none(timeout)
                                          ? Clock::time_point::max()
                                          : Clock::now() + std::chrono::seconds(timeout.tv_sec) +
                                                std::chrono::microseconds(timeout.tv_usec);
    InterruptWake wake; // opened if the wait lasts
    bool isBelieved = true;
    for (;;) {
        const int rc = bounds.check();
        if (rc != kOk) {
            return rc;
        }
        const int wakeFd = isBelieved ? wake.descriptor() : -1;
        const milliseconds slice =
            next_slice(stepEnd, bounds.end, wakeFd < 0 ? kInterruptSlice : kLongInterruptSlice);
        pollfd watched[] = {{fd, events, 0}, {wakeFd, POLLIN, 0}};
        const int ready = poll(watched, std::size(watched), static_cast<int>(slice.count()));
        if (watched[0].revents != 0) {
            return kOk;
        }
        if (ready > 0) { // without an interrupt, its number is another file's now
            isBelieved = false;
        } else if (ready == 0 && Clock::now() >= stepEnd) {
            return EAGAIN;
        } else if (ready == 0) {
            wake.open();
        }
    }
}

// How each receive of a reply waits.
struct Patience {
    timeval timeout = {};     // 0 for none
    int flags = MSG_DONTWAIT; // 0 if the socket itself ends a recv() after a slice
};

// Makes one recv() that an interrupt can end. *count becomes its result, and -1 when the timeout is
// up. Returns kOk, ECANCELED or ETIMEDOUT.
int receive_once(int fd, void* data, size_t size, const Patience& patience, const Bounds& bounds,
                 ssize_t* count) {
    int flags = patience.flags;
    int rc = bounds.check();
    while (rc == kOk) {
        *count = recv(fd, data, size, flags);
        if (*count >= 0 || (errno != EAGAIN && errno != EINTR)) {
            return kOk;
        }
        flags = MSG_DONTWAIT;
        rc = wait_ready(fd, POLLIN, patience.timeout, bounds);
    }
    if (rc == EAGAIN) {
        errno = EAGAIN;
        return kOk;
    }
    return rc;
}

// Lets the bytes of a peer that sends a few at a time gather, so that each does not cost a wake-up.
class Gathering {
public:
    // Waits if the pieces have been small for a while, longer each time.
    void after_piece(size_t count, const Bounds& bounds) {
        small_ = count < kSmallPiece ? std::min(small_ + 1, kTolerated + kDoublings) : 0;
        if (small_ > kTolerated) {
            const milliseconds pause = std::min(milliseconds{1 << (small_ - kTolerated)},
                                                next_slice(bounds.end, bounds.end));
            poll(nullptr, 0, static_cast<int>(pause.count()));
        }
    }

private:
    static constexpr size_t kSmallPiece = 4096;
    static constexpr int kTolerated = 16;
    static constexpr int kDoublings = 4; // up to 16 milliseconds

    int small_ = 0; // pieces in a row
};

// Fills the body as far as the peer sends it. *filled becomes the number of bytes that came.
//
// Compatibility: the -1 of a failed recv() is added to the total like any count. Before the first
// byte that makes the total larger than any length and ends the loop; later it moves the position
// back by one byte and the loop goes on.
int receive_body(int fd, char* body, uint64_t length, const Patience& patience,
                 const Bounds& bounds, uint64_t* filled) {
    Gathering gathering;
    uint64_t total = 0;
    while (total < length) {
        ssize_t count = 0;
        const int rc = receive_once(fd, body + total, length - total, patience, bounds, &count);
        if (rc != kOk) {
            return rc;
        }
        if (count == 0) {
            break;
        }
        total += static_cast<uint64_t>(count);
        *filled = count > 0 ? std::max(*filled, total) : *filled;
        if (count > 0 && total < length && is_none(patience.timeout)) {
            gathering.after_piece(static_cast<size_t>(count), bounds);
        }
    }
    return kOk;
}

// The body of a whole reply. What a header announces is only a claim: the block grows with what
// comes, so that a false one costs no memory.
int receive_whole_body(int fd, uint64_t length, const Patience& patience, const Bounds& bounds,
                       HeapText* body) {
    constexpr uint64_t kFirstRoom = 1U << 16;
    Gathering gathering;
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
        ssize_t count = 0;
        const int rc =
            receive_once(fd, body->get() + total, room - total, patience, bounds, &count);
        if (rc != kOk) {
            return rc;
        }
        if (count <= 0) {
            return count < 0 && errno == EAGAIN ? ETIMEDOUT : int{kShortHeader};
        }
        total += static_cast<uint64_t>(count);
        gathering.after_piece(static_cast<size_t>(count), bounds);
    }
    return kOk;
}

// A connect() that an interrupt or the end of the exchange's time can end: a full backlog is not a
// thing to poll for. The socket keeps the send timeout.
int connect_bounded(int fd, const sockaddr* address, socklen_t length, const Bounds& bounds) {
    for (;;) {
        const int rc = bounds.check();
        if (rc != kOk) {
            return rc;
        }
        const milliseconds slice = next_slice(bounds.end, bounds.end);
        const timeval wait = to_timeval(std::max(slice, milliseconds{1}));
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
        if (connect(fd, address, length) == 0) {
            return kOk;
        }
        if (errno != EAGAIN && errno != EINTR) {
            return errno;
        }
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

// A receive timeout of 0 is none.
int open_connection(IPCClient& client, const char* name, const timeval& receiveTimeout,
                    const Bounds& bounds) {
    if (client.fd > 0) {
        close(client.fd); // of an earlier attempt
    }
    client.fd = lift_descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
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

// Opens a connection that the program may also use by itself.
int open_step(IPCClient& client, const char* name, const timeval& receiveTimeout) {
    const int rc = open_connection(client, name, receiveTimeout, {});
    const timeval forever = {};
    setsockopt(client.fd, SOL_SOCKET, SO_SNDTIMEO, &forever, sizeof forever);
    return rc;
}

// What is still to be sent: a header and the text in up to two pieces.
using Unsent = std::span<iovec>;

Unsent without_first(Unsent unsent, size_t count) {
    while (!unsent.empty() && count >= unsent[0].iov_len) {
        count -= unsent[0].iov_len;
        unsent = unsent.subspan(1);
    }
    if (!unsent.empty()) {
        unsent[0].iov_base = static_cast<char*>(unsent[0].iov_base) + count;
        unsent[0].iov_len -= count;
    }
    return unsent;
}

// All at once, which wakes the daemon once.
int send_all(const IPCClient& client, Unsent unsent, const Bounds& bounds) {
    if (client.fd < 0) {
        return kOk; // as any failed send(): the daemon's silence is the failure
    }
    int rc = bounds.check();
    while (rc == kOk) {
        msghdr message = {};
        message.msg_iov = unsent.data();
        message.msg_iovlen = unsent.size();
        // MSG_NOSIGNAL: no SIGPIPE when the daemon has closed the connection.
        const ssize_t taken = sendmsg(client.fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken == 0) {
            return kShortHeader;
        }
        if (taken < 0 && errno != EAGAIN) {
            return kOk;
        }
        unsent = without_first(unsent, taken < 0 ? 0 : static_cast<size_t>(taken));
        if (unsent.empty()) {
            return kOk;
        }
        rc = wait_ready(client.fd, POLLOUT, {}, bounds);
    }
    return rc;
}

// const_cast: the record of the system call serves for receiving too.
iovec piece_of(const void* data, uint64_t length) {
    return {const_cast<void*>(data), length};
}

RequestHeader header_of(uint32_t requestNumber, uint64_t length) {
    return {kMagic, requestNumber, static_cast<uint32_t>(length)};
}

int send_request(const IPCClient& client, const ExchangeRequest& request, const Bounds& bounds) {
    const RequestHeader header =
        header_of(request.requestNumber, request.pieces[0].length + request.pieces[1].length);
    iovec pieces[1 + std::extent_v<decltype(request.pieces)>] = {piece_of(&header, sizeof header)};
    size_t count = 1;
    for (const auto& piece : request.pieces) {
        if (piece.length != 0) {
            pieces[count++] = piece_of(piece.text, piece.length);
        }
    }
    return send_all(client, {pieces, count}, bounds);
}

int send_step(const IPCClient& client, const void* data, uint64_t length) {
    iovec piece = piece_of(data, length);
    return send_all(client, {&piece, 1}, {});
}

int receive_header(const IPCClient& client, const Patience& patience, const Bounds& bounds,
                   ReplyHeader* header) {
    size_t total = 0;
    do {
        ssize_t count = 0;
        const int rc = client.fd < 0
                           ? int{kShortHeader}
                           : receive_once(client.fd, reinterpret_cast<char*>(header) + total,
                                          sizeof *header - total, patience, bounds, &count);
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

int receive_reply(const IPCClient& client, const Patience& patience, const Bounds& bounds,
                  uint32_t* status, uint64_t* length, char** buffer) {
    *buffer = nullptr;
    ReplyHeader header = {};
    int rc = receive_header(client, patience, bounds, &header);
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
        rc = receive_whole_body(client.fd, header.length, patience, bounds, &body);
        filled = header.length;
    } else {
        body.reset(allocate_body(header.length));
        rc = body == nullptr
                 ? int{kNoMemory}
                 : receive_body(client.fd, body.get(), header.length, patience, bounds, &filled);
    }
    if (rc == kOk) {
        clear_rest(body.get(), header.length, filled);
        *buffer = body.release();
    }
    return rc;
}

bool is_refused(const ExchangeRequest& request) {
    const bool isNegative = request.timeoutMs != nullptr && *request.timeoutMs < 0;
    return isNegative || thread_limits().refused;
}

// Who listens at the other end.
void note_peer(int fd, ExchangeOutcome* outcome) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) {
        outcome->peerProcess = peer.pid;
        outcome->peerUser = peer.uid;
    }
}

// A socket that waits by itself saves a poll() for each receive. Only an exchange without a limit
// can wait so: a slice that it has begun does not end earlier.
Patience patience_of(const ExchangeRequest& request, const Bounds& bounds) {
    const bool isTold = request.timeoutMs != nullptr && *request.timeoutMs != 0;
    Patience patience;
    patience.timeout = to_timeval(milliseconds(isTold ? *request.timeoutMs : 0));
    patience.flags = isTold || bounds.end != Clock::time_point::max() ? MSG_DONTWAIT : 0;
    return patience;
}

int transfer(IPCClient& client, const char* name, const ExchangeRequest& request, InFlight& counted,
             uint32_t* status, ExchangeOutcome* outcome) {
    const Bounds bounds = bounds_of(thread_limits());
    const Patience patience = patience_of(request, bounds);
    int rc = open_connection(
        client, name, patience.flags == 0 ? to_timeval(kInterruptSlice) : patience.timeout, bounds);
    outcome->stage = rc == kOk ? ExchangeStage::kTransfer : ExchangeStage::kConnect;
    if (rc == kOk) {
        counted.set_connected();
        if (bounds.wholeReply) {
            note_peer(client.fd, outcome);
        }
        rc = send_request(client, request, bounds);
    }
    if (rc == kOk) {
        rc =
            receive_reply(client, patience, bounds, status, &outcome->replyLength, &outcome->reply);
    }
    return rc;
}

enum class OnStatus { kFreeReply, kKeepReply };

// Makes an exchange, counts it and copies its outcome to the caller's outputs.
int deliver(const ExchangeRequest& request, OnStatus onStatus, uint64_t* replyLength,
            char** reply) {
    *reply = nullptr;
    *replyLength = 0;
    ExchangeOutcome outcome = exchange(request);
    if (outcome.stage == ExchangeStage::kRefused) {
        return outcome.code;
    }
    exchangeCount.fetch_add(1, std::memory_order_relaxed);
    if (outcome.code != kOk) {
        failureCount.fetch_add(1, std::memory_order_relaxed);
        if (onStatus == OnStatus::kFreeReply) {
            free(outcome.reply);
            outcome.reply = nullptr;
        }
    }
    *reply = outcome.reply;
    *replyLength = outcome.replyLength;
    return outcome.code;
}

} // namespace

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

int IPCClient::SendHeader(uint32_t requestNumber, uint64_t length) const {
    const RequestHeader header = header_of(requestNumber, length);
    return send_step(*this, &header, sizeof header);
}

int IPCClient::Send(uint64_t length, const void* data) const {
    return send_step(*this, data, length);
}

int IPCClient::Receive(uint32_t* status, uint64_t* length, char** buffer) const {
    Patience patience;
    socklen_t size = sizeof patience.timeout;
    getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience.timeout, &size);
    return receive_reply(*this, patience, {}, status, length, buffer);
}

ExchangeOutcome exchange(const ExchangeRequest& request) {
    // Counted before the default name is read: IPCServTerm clears the name first and then waits for
    // the count, so a name that is read here is valid until the exchange ends.
    InFlight counted(inFlight);
    const char* name = request.socketName != nullptr ? request.socketName : defaultName.load();
    ExchangeOutcome outcome;
    if (name == nullptr || is_refused(request)) {
        outcome.code = kInvalid;
        outcome.stage = ExchangeStage::kRefused;
        return outcome;
    }
    const std::unique_ptr<IPCClient> client(new (std::nothrow) IPCClient);
    if (client == nullptr) {
        outcome.code = kNoMemory;
        outcome.stage = ExchangeStage::kAllocate;
        return outcome;
    }
    uint32_t status = 0;
    counted.set_begun(daemon_of(request.socketName));
    outcome.code = transfer(*client, name, request, counted, &status, &outcome);
    if (outcome.code == kOk) {
        outcome.code = static_cast<int>(status);
        outcome.stage = status == 0 ? ExchangeStage::kDone : ExchangeStage::kStatus;
    }
    counted.set_ended(outcome.code);
    return outcome;
}

int IPCServInit(const char* name) {
    if (name == nullptr || *name == '\0') {
        return kInvalid;
    }
    const size_t length = strlen(name);
    char* copy = static_cast<char*>(malloc(length + kDefaultNameSlack));
    if (copy == nullptr) {
        return kNoMemory;
    }
    memcpy(copy, name, length + 1);
    if (defaultName.load() != nullptr) {
        IPCServTerm(); // an exchange in flight may still read the earlier name
    }
    clear_interrupt();
    free(defaultName.exchange(copy));
    return kOk;
}

void IPCServTerm() {
    char* name = defaultName.exchange(nullptr);
    wait_until_idle(inFlight);
    free(name);
}

int IPCServRequest(uint32_t requestNumber, uint64_t requestLength, const char* request,
                   uint64_t* replyLength, char** reply) {
    return IPCServRequestEx(nullptr, requestNumber, requestLength, request, replyLength, reply);
}

int IPCServRequestEx(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                     const char* request, uint64_t* replyLength, char** reply) {
    return deliver({socketName, nullptr, requestNumber, {{requestLength, request}, {}}},
                   OnStatus::kFreeReply, replyLength, reply);
}

int IPCServRequestTimeout(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                          const char* request, uint64_t* replyLength, char** reply,
                          int32_t timeoutMs) {
    return deliver({socketName, &timeoutMs, requestNumber, {{requestLength, request}, {}}},
                   OnStatus::kKeepReply, replyLength, reply);
}

int IPCServRequest2(uint32_t requestNumber, uint64_t length1, const char* part1, uint64_t length2,
                    const char* part2, uint64_t* replyLength, char** reply) {
    return deliver({nullptr, nullptr, requestNumber, {{length1, part1}, {length2, part2}}},
                   OnStatus::kKeepReply, replyLength, reply);
}

int QueryZRPServer(uint32_t requestNumber, const char* request, uint64_t requestLength,
                   char** reply, uint64_t* replyLength) {
    return IPCServRequestEx(kMainDaemonSocket, requestNumber, requestLength, request, replyLength,
                            reply);
}

int QueryZRP2BKS(uint32_t requestNumber, const char* request, uint64_t requestLength, char** reply,
                 uint64_t* replyLength) {
    return IPCServRequestEx(kStorageDaemonSocket, requestNumber, requestLength, request,
                            replyLength, reply);
}

} // namespace zrp
