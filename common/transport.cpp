#include "common/transport.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "common/exchange.h"
#include "common/result.h"

namespace zrp {
namespace {

static_assert(sizeof(sockaddr_un::sun_path) == kMaxSocketName + 2);

// Compatibility: the copy of the default name is allocated with this much extra room.
constexpr size_t kDefaultNameSlack = 128;
constexpr useconds_t kIdlePollMicroseconds = 100;

// How long connect() may wait for a daemon with a full backlog before it looks for an interrupt.
constexpr timeval kConnectSlice = {0, 100000};

std::atomic<char*> defaultName{nullptr};
std::atomic<uint32_t> inFlight{0};
std::atomic<uint32_t> exchangeCount{0};
std::atomic<uint32_t> failureCount{0};

// The flag says whether there was an interrupt; the event descriptor wakes the threads that wait in
// poll(). It is created once and never closed, so that a signal handler can write to it at any
// time.
std::atomic<bool> interrupted{false};
std::atomic<int> interruptFd{-1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void prepare_interrupt() {
    static std::once_flag once;
    std::call_once(once, [] { interruptFd.store(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)); });
}

void wake_waiting_threads() {
    const uint64_t one = 1;
    // Without the descriptor nobody waits yet.
    [[maybe_unused]] const ssize_t written = write(interruptFd.load(), &one, sizeof one);
}

// An interrupt that arrives meanwhile is kept: its flag is set, and its wake-up is repeated in case
// the loop has read it.
void clear_interrupt() {
    prepare_interrupt();
    interrupted.store(false);
    uint64_t ignored = 0;
    while (read(interruptFd.load(), &ignored, sizeof ignored) > 0) {
    }
    if (interrupted.load()) {
        wake_waiting_threads();
    }
}

using Clock = std::chrono::steady_clock;

// Waits until the socket is ready for the events. A null timeout waits without limit.
// Returns kOk, ECANCELED after an interrupt, or EAGAIN when the time is up.
int wait_ready(int fd, short events, const timeval* timeout) {
    const bool limited = timeout != nullptr;
    const auto deadline = Clock::now() + std::chrono::seconds(limited ? timeout->tv_sec : 0) +
                          std::chrono::microseconds(limited ? timeout->tv_usec : 0);
    prepare_interrupt();
    for (;;) {
        if (interrupted.load()) {
            return ECANCELED;
        }
        int waitMs = -1;
        if (limited) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            waitMs = static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
        }
        pollfd watched[2] = {{fd, events, 0}, {interruptFd.load(), POLLIN, 0}};
        const int ready = poll(watched, 2, waitMs);
        if (ready > 0) {
            return watched[1].revents != 0 ? ECANCELED : kOk;
        }
        if (ready == 0) {
            return EAGAIN;
        }
    }
}

// Makes one recv() that an interrupt can end. *count becomes its result, and -1 when the time is
// up. Returns kOk or ECANCELED.
int receive_once(int fd, void* data, size_t size, const timeval* timeout, ssize_t* count) {
    const int rc = wait_ready(fd, POLLIN, timeout);
    if (rc == ECANCELED) {
        return ECANCELED;
    }
    *count = rc == kOk ? recv(fd, data, size, 0) : -1;
    return kOk;
}

// Fills the body as far as the peer sends it.
//
// Compatibility: the -1 of a failed recv() is added to the total like any count. Before the first
// byte that makes the total larger than any length and ends the loop; later it moves the position
// back by one byte and the loop goes on.
int receive_body(int fd, char* body, uint64_t length, const timeval* timeout) {
    uint64_t total = 0;
    while (total < length) {
        ssize_t count = 0;
        if (receive_once(fd, body + total, length - total, timeout, &count) == ECANCELED) {
            return ECANCELED;
        }
        if (count == 0) {
            break;
        }
        total += static_cast<uint64_t>(count);
    }
    return kOk;
}

int connect_to(int fd, const char* name) {
    const size_t nameLength = strlen(name);
    if (nameLength > kMaxSocketName) {
        abort();
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name, nameLength);
    const auto addressLength =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + nameLength);

    const timeval forever = {};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kConnectSlice, sizeof kConnectSlice);
    int rc = 0;
    do {
        if (interrupted.load()) {
            return ECANCELED;
        }
        rc = connect(fd, reinterpret_cast<const sockaddr*>(&address), addressLength) < 0 ? errno
                                                                                         : kOk;
    } while (rc == EAGAIN || rc == EINTR);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &forever, sizeof forever);
    return rc;
}

int open_socket(int* fd) {
    *fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (*fd < 0) {
        return errno;
    }
    const int on = 1;
    setsockopt(*fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return kOk;
}

int transfer(IPCClient& client, const char* name, const ExchangeRequest& request, uint32_t* status,
             ExchangeOutcome* outcome) {
    int rc = request.timeoutMs == nullptr ? client.Connect(name)
                                          : client.ConnectTimeout(name, *request.timeoutMs);
    if (rc == kOk) {
        rc = client.SendHeader(request.requestNumber,
                               request.pieces[0].length + request.pieces[1].length);
    }
    for (const auto& piece : request.pieces) {
        if (rc == kOk && piece.length != 0) {
            rc = client.Send(piece.length, piece.text);
        }
    }
    if (rc == kOk) {
        rc = client.Receive(status, &outcome->replyLength, &outcome->reply);
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
    if (outcome.stage == ExchangeStage::kNoAddress) {
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
    const int rc = open_socket(&fd);
    return rc == kOk ? connect_to(fd, name) : rc;
}

int IPCClient::ConnectTimeout(const char* name, int32_t timeoutMs) {
    const int rc = open_socket(&fd);
    if (rc != kOk) {
        return rc;
    }
    const timeval timeout = {timeoutMs / 1000, (timeoutMs % 1000) * 1000L};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    return connect_to(fd, name);
}

int IPCClient::SendHeader(uint32_t requestNumber, uint64_t length) const {
    const RequestHeader header = {kMagic, requestNumber, static_cast<uint32_t>(length)};
    return Send(sizeof header, &header);
}

int IPCClient::Send(uint64_t length, const void* data) const {
    const char* rest = static_cast<const char*>(data);
    ssize_t taken = 0;
    do {
        if (wait_ready(fd, POLLOUT, nullptr) == ECANCELED) {
            return ECANCELED;
        }
        // MSG_NOSIGNAL: no SIGPIPE when the daemon has closed the connection.
        taken = send(fd, rest, length, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken == 0) {
            return kShortHeader;
        }
        if (taken > 0) {
            rest += taken;
            length -= static_cast<uint64_t>(taken);
        }
    } while (length != 0 && (taken > 0 || errno == EAGAIN));
    return kOk;
}

int IPCClient::Receive(uint32_t* status, uint64_t* length, char** buffer) const {
    *buffer = nullptr;
    timeval limit = {};
    socklen_t limitSize = sizeof limit;
    getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, &limitSize);
    const timeval* timeout = limit.tv_sec != 0 || limit.tv_usec != 0 ? &limit : nullptr;

    ReplyHeader header = {};
    ssize_t count = 0;
    if (receive_once(fd, &header, sizeof header, timeout, &count) == ECANCELED) {
        return ECANCELED;
    }
    if (count != sizeof header) {
        return kShortHeader;
    }
    if (header.magic != kMagic) {
        return kBadMagic;
    }
    *status = header.status;
    *length = header.length;
    std::unique_ptr<char, decltype(&free)> body(nullptr, free);
    if (header.length != 0) {
        body.reset(static_cast<char*>(calloc(1, header.length)));
        if (body == nullptr) {
            return kNoMemory;
        }
        if (receive_body(fd, body.get(), header.length, timeout) == ECANCELED) {
            return ECANCELED;
        }
    }
    *buffer = body.release();
    return kOk;
}

void wait_until_idle(const std::atomic<uint32_t>& count) {
    while (count.load() != 0) {
        usleep(kIdlePollMicroseconds);
    }
}

ExchangeOutcome exchange(const ExchangeRequest& request) {
    // Counted before the default name is read: IPCServTerm clears the name first and then waits for
    // the count, so a name that is read here is valid until the exchange ends.
    const InFlight counted(inFlight);
    const char* name = request.socketName != nullptr ? request.socketName : defaultName.load();
    ExchangeOutcome outcome;
    if (name == nullptr) {
        outcome.code = kInvalid;
        outcome.stage = ExchangeStage::kNoAddress;
        return outcome;
    }
    const std::unique_ptr<IPCClient> client(new (std::nothrow) IPCClient);
    if (client == nullptr) {
        outcome.code = kNoMemory;
        outcome.stage = ExchangeStage::kAllocate;
        return outcome;
    }
    uint32_t status = 0;
    outcome.code = transfer(*client, name, request, &status, &outcome);
    if (outcome.code != kOk) {
        outcome.stage = ExchangeStage::kTransfer;
    } else if (status != 0) {
        outcome.code = static_cast<int>(status);
        outcome.stage = ExchangeStage::kStatus;
    }
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

void IPCServInterrupt() {
    const int savedErrno = errno;
    interrupted.store(true);
    wake_waiting_threads();
    errno = savedErrno;
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
