#include "common/transport.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <sys/socket.h>

#include "common/exchange.h"
#include "common/in_flight.h"
#include "common/interrupt.h"
#include "common/result.h"
#include "common/thread_limits.h"
#include "common/transport_connect.h"
#include "common/transport_receive.h"
#include "common/transport_send.h"
#include "common/transport_wait.h"

namespace zrp {
namespace {

// Compatibility: the copy of the default name is allocated with this much extra room.
constexpr size_t kDefaultNameSlack = 128;

std::atomic<char*> defaultName{nullptr};
std::atomic<uint32_t> inFlight{0};
std::atomic<uint32_t> exchangeCount{0};
std::atomic<uint32_t> failureCount{0};

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

int transfer(IPCClient& client, const char* name, const ExchangeRequest& request, InFlight& counted,
             uint32_t* status, ExchangeOutcome* outcome) {
    const Bounds bounds = bounds_of(thread_limits());
    const std::chrono::milliseconds timeout{request.timeoutMs != nullptr ? *request.timeoutMs : 0};
    int rc = open_connection(client, name, to_timeval(timeout), bounds);
    outcome->stage = rc == kOk ? ExchangeStage::kTransfer : ExchangeStage::kConnect;
    if (rc == kOk) {
        counted.set_connected();
        if (bounds.wholeReply) {
            note_peer(client.fd, outcome);
        }
        rc = send_request(client, request, bounds);
    }
    if (rc == kOk) {
        rc = receive_reply(client, to_timeval(timeout), bounds, status, &outcome->replyLength,
                           &outcome->reply);
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
