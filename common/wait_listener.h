// Who hears of a wait that lasts. Internal to the library and the monitor.
#pragma once

#pragma GCC visibility push(hidden)

namespace zrp {

// The listener is called on this thread while one of its exchanges waits, or a reply is scanned:
// first after some 50 milliseconds, then at least once in a second. Null for none.
void set_wait_listener(void (*listener)());

// Calls the listener of this thread.
void tell_wait_listener();

} // namespace zrp

#pragma GCC visibility pop
