#include "common/wait_listener.h"

namespace zrp {
namespace {

using Listener = void (*)();

constinit thread_local Listener waitListener = nullptr;

} // namespace

void set_wait_listener(void (*listener)()) {
    waitListener = listener;
}

void tell_wait_listener() {
    if (waitListener != nullptr) {
        waitListener();
    }
}

} // namespace zrp
