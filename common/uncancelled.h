// Guard against the cancellation of a thread that holds a lock. The library is compiled without
// exceptions, so that a cancelled thread runs no destructor and would hold its lock for ever. A
// cancellation that is already pending takes effect first: a thread that does nothing else than
// what is guarded can be cancelled too. Internal to the library.
#pragma once

#include <pthread.h>

#pragma GCC visibility push(hidden)

namespace zrp {

class Uncancelled {
public:
    Uncancelled() {
        pthread_testcancel();
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_);
    }
    ~Uncancelled() {
        pthread_setcancelstate(before_, nullptr);
    }
    Uncancelled(const Uncancelled&) = delete;
    Uncancelled& operator=(const Uncancelled&) = delete;

private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace zrp

#pragma GCC visibility pop
