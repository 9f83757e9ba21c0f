#include "common/interrupt.h"

#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <sched.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "common/transport.h"

namespace zrp {

// Where an interrupt finds the descriptor of a wait. An interrupt may be a signal handler, and
// takes no lock: it counts itself as a user, and a slot is given back only when it has none.
struct WakeSlot {
    std::atomic<int> descriptor{kFree};
    std::atomic<int> users{0};

    static constexpr int kFree = -1;
    static constexpr int kTaken = -2;
};

namespace {

// Further waits look every kInterruptSlice.
constexpr size_t kWakeSlots = 32;
WakeSlot wakeSlots[kWakeSlots];

std::atomic<uint32_t> interrupts{0};
std::atomic<uint32_t> cleared{0}; // how many of them are over
static_assert(std::atomic<uint32_t>::is_always_lock_free);

// The waits of the parent go on without the child.
void start_child() {
    clear_interrupt();
    for (WakeSlot& slot : wakeSlots) {
        slot.descriptor.store(WakeSlot::kFree);
        slot.users.store(0);
    }
}

[[maybe_unused]] const int forkHandler = pthread_atfork(nullptr, nullptr, start_child);

WakeSlot* take_slot() {
    for (WakeSlot& slot : wakeSlots) {
        int expected = WakeSlot::kFree;
        if (slot.descriptor.compare_exchange_strong(expected, WakeSlot::kTaken)) {
            return &slot;
        }
    }
    return nullptr;
}

void wake(WakeSlot& slot) {
    slot.users.fetch_add(1);
    const int fd = slot.descriptor.load();
    if (fd >= 0) {
        const itimerspec atOnce = {{}, {0, 1}};
        timerfd_settime(fd, 0, &atOnce, nullptr);
    }
    slot.users.fetch_sub(1);
}

} // namespace

uint32_t interrupt_mark() {
    return interrupts.load();
}

bool is_interrupted_since(uint32_t mark) {
    const uint32_t count = interrupts.load();
    return count != mark || count != cleared.load();
}

void clear_interrupt() {
    cleared.store(interrupts.load());
}

void IPCServInterrupt() {
    const int error = errno;
    interrupts.fetch_add(1);
    for (WakeSlot& slot : wakeSlots) {
        wake(slot);
    }
    errno = error;
}

void InterruptWake::open() {
    if (slot_ != nullptr) {
        return;
    }
    slot_ = take_slot();
    if (slot_ == nullptr) {
        return;
    }
    descriptor_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    slot_->descriptor.store(descriptor_ < 0 ? WakeSlot::kFree : descriptor_);
    if (descriptor_ < 0) {
        slot_ = nullptr;
    }
}

int InterruptWake::descriptor() const {
    return slot_ != nullptr && slot_->descriptor.load() == descriptor_ ? descriptor_ : -1;
}

InterruptWake::~InterruptWake() {
    if (slot_ == nullptr) {
        return;
    }
    int expected = descriptor_;
    const bool isOwn = slot_->descriptor.compare_exchange_strong(expected, WakeSlot::kTaken);
    while (isOwn && slot_->users.load() != 0) {
        sched_yield();
    }
    close(descriptor_);
    if (isOwn) { // and not that of a child which was forked meanwhile
        slot_->descriptor.store(WakeSlot::kFree);
    }
}

} // namespace zrp
