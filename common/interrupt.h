// Whether IPCServInterrupt was called. Internal to the library.
//
// Two counters, at which a thread that waits or scans looks often enough. Only a wait that lasts
// gets a descriptor that wakes it, and looks less often. A descriptor belongs to the process as a
// whole: a program that turns itself into a daemon closes all of them, and the next file that it
// opens gets the number. So none is kept between two waits, none is believed alone, and it is a
// timer, since what sets a timer does nothing to any other file.
#pragma once

#include <chrono>
#include <cstdint>

#pragma GCC visibility push(hidden)

namespace zrp {

// The longest time for which a wait looks at nothing but its socket.
inline constexpr std::chrono::milliseconds kInterruptSlice{50};

// The same for a wait that has an InterruptWake.
inline constexpr std::chrono::milliseconds kLongInterruptSlice{1000};

// The number of interrupts so far. What begins now is interrupted by the next one.
uint32_t interrupt_mark();

// Whether an interrupt came after the mark, or before it and was not cleared yet.
bool is_interrupted_since(uint32_t mark);

inline bool is_interrupted() {
    return is_interrupted_since(interrupt_mark());
}

// Any later call of is_interrupted_since with a later mark returns false until the next interrupt.
// So does fork in the child: an interrupt is for the process in which it was asked for.
void clear_interrupt();

// Becomes readable at the next interrupt, for a thread that polls. A forked child does not have it.
class InterruptWake {
public:
    InterruptWake() = default;
    ~InterruptWake();
    InterruptWake(const InterruptWake&) = delete;
    InterruptWake& operator=(const InterruptWake&) = delete;

    // Does nothing if it is open, or if the process has too many waits or descriptors. An interrupt
    // before the call is not seen: look for it afterwards.
    void open();

    // -1 while it is not open.
    [[nodiscard]] int descriptor() const;

private:
    struct WakeSlot* slot_ = nullptr;
    int descriptor_ = -1;
};

} // namespace zrp

#pragma GCC visibility pop
