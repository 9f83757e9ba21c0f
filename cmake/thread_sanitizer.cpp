// Linked into every program of a build under the thread sanitizer, whose run-time library loses a
// signal that arrives while it prepares for the first blocking call of a thread. For the main
// thread that is this call, before any handler is installed.
#include <poll.h>

namespace {

[[maybe_unused]] const int preparation = poll(nullptr, 0, 0);

} // namespace
