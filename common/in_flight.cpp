#include "common/in_flight.h"

#include <array>
#include <cstring>
#include <mutex>
#include <unistd.h>

#include "common/bounded_copy.h"
#include "common/transport.h"

namespace zrp {

namespace {

constexpr useconds_t kIdlePollMicroseconds = 100;

using Clock = std::chrono::steady_clock;

// How the exchanges with one daemon ended.
struct DaemonRecord {
    uint64_t ended = 0;
    uint64_t failed = 0;
    ExchangeResult last;
    ExchangeResult lastFailure;
};

bool is_good(const ExchangeResult& result) {
    return result.transportCode == kOk && result.replyCode == kOk;
}

// Guards all that follows, and the links of every InFlight. It is held for a few instructions only.
std::mutex mutex;
std::array<DaemonRecord, kDaemonCount> records;

DaemonRecord& record_of(DaemonId daemon) {
    return records[static_cast<size_t>(daemon)];
}

} // namespace

// The exchanges in flight, in the order in which they began.
struct InFlightList {
    static inline InFlight* first = nullptr;
    static inline InFlight* last = nullptr;

    static void append(InFlight* exchange) {
        exchange->previous_ = last;
        (last != nullptr ? last->next_ : first) = exchange;
        last = exchange;
        exchange->count_.fetch_add(1);
    }

    static void remove(InFlight* exchange) {
        InFlight* before = exchange->previous_;
        InFlight* after = exchange->next_;
        (before != nullptr ? before->next_ : first) = after;
        (after != nullptr ? after->previous_ : last) = before;
        exchange->count_.fetch_sub(1);
    }

    // The phase of the exchange with the daemon that began first.
    static void describe(DaemonId daemon, ExchangeState& state) {
        const InFlight* exchange = first;
        while (exchange != nullptr && exchange->daemon_ != daemon) {
            exchange = exchange->next_;
        }
        if (exchange != nullptr) {
            state.phase = exchange->phase_;
            state.since = exchange->since_;
        }
    }

    // The stacks of the other threads, on which their exchanges are, are still there in the child.
    static void remove_other_threads() {
        for (InFlight* exchange = first; exchange != nullptr; exchange = exchange->next_) {
            if (pthread_equal(exchange->thread_, pthread_self()) == 0) {
                remove(exchange);
            }
        }
    }
};

namespace {

void before_fork() {
    mutex.lock();
}

void after_fork_in_parent() {
    mutex.unlock();
}

void after_fork_in_child() {
    InFlightList::remove_other_threads();
    mutex.unlock();
}

[[maybe_unused]] const int forkHandlers =
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);

} // namespace

InFlight::InFlight(std::atomic<uint32_t>& count) : count_(count), thread_(pthread_self()) {
    const std::lock_guard lock(mutex);
    InFlightList::append(this);
}

InFlight::~InFlight() {
    const std::lock_guard lock(mutex);
    InFlightList::remove(this);
}

void InFlight::set_begun(std::optional<DaemonId> daemon) {
    const std::lock_guard lock(mutex);
    daemon_ = daemon;
    phase_ = ExchangePhase::kConnecting;
    began_ = since_ = Clock::now();
}

void InFlight::set_connected() {
    const std::lock_guard lock(mutex);
    phase_ = ExchangePhase::kWaiting;
    since_ = Clock::now();
}

void InFlight::set_ended(int transportCode) {
    const std::lock_guard lock(mutex);
    if (!daemon_) {
        return;
    }
    DaemonRecord& record = record_of(*daemon_);
    record.last = {began_, transportCode, kOk, ""};
    record.ended++;
    if (transportCode != kOk) {
        record.failed++;
        record.lastFailure = record.last;
    }
    daemon_.reset();
}

void wait_until_idle(const std::atomic<uint32_t>& count) {
    while (count.load() != 0) {
        usleep(kIdlePollMicroseconds);
    }
}

std::optional<DaemonId> daemon_of(const char* socketName) {
    constexpr struct {
        const char* socketName;
        DaemonId daemon;
    } kNames[] = {
        {kMainDaemonSocket, DaemonId::kMain},
        {kStorageDaemonSocket, DaemonId::kStorage},
        {kManagementSocket, DaemonId::kManagement},
    };
    if (socketName == nullptr) {
        return DaemonId::kMain;
    }
    for (const auto& row : kNames) {
        if (strcmp(socketName, row.socketName) == 0) {
            return row.daemon;
        }
    }
    return std::nullopt;
}

ExchangeState GetExchangeState(DaemonId daemon) {
    const std::lock_guard lock(mutex);
    const DaemonRecord& record = record_of(daemon);
    ExchangeState state;
    InFlightList::describe(daemon, state);
    state.ended = record.ended;
    state.failed = record.failed;
    state.last = record.last;
    state.lastFailure = record.lastFailure;
    return state;
}

void NoteReplyResult(DaemonId daemon, int replyCode, const char* errorText) {
    const std::lock_guard lock(mutex);
    DaemonRecord& record = record_of(daemon);
    if (replyCode == kOk || record.ended == 0) {
        return;
    }
    if (is_good(record.last)) {
        record.failed++;
    }
    record.last.replyCode = replyCode;
    copy_cut(record.last.errorText, errorText != nullptr ? errorText : "");
    record.lastFailure = record.last;
}

} // namespace zrp
