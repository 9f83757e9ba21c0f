// A private network, in which no other program uses the names of the three daemons.
//
// The daemons listen on fixed names of the abstract socket namespace, and each network namespace
// has its own. In a private one, programs that use the names run in parallel, need no root and
// never reach a real server. Where namespaces are not permitted (in an ordinary container, say) the
// machine's own network is used: by one program at a time, and only while none of the names has a
// listener.
#pragma once

#include <string>
#include <string_view>

#include "tools/harness/deadline.h"

namespace zrp::harness {

enum class NetworkKind {
    kPrivate, // own network and mounts, which vanish with the last process in them
    kShared,  // the machine's, under a lock that this process holds until it ends
    kRefused, // the machine's, and it is in use: do not touch the names
};

struct Network {
    NetworkKind kind = NetworkKind::kRefused;
    bool root = false;  // getuid() is 0, as the monitor requires
    std::string reason; // why it is not private, or empty
};

// Abstract name whose listener holds the lock on the machine's own network. A process that waits
// for the lock is connected to it.
inline constexpr std::string_view kNetworkLock = "zrptop-network-lock";

// How long to wait for the lock.
inline constexpr milliseconds kLockPatience{10 * 60 * 1000};

// Puts the calling process and its later children into a private network and mount namespace:
// directly as root, otherwise through a user namespace in which the caller is root. Call it once,
// at the start of main(), while there is one thread. With ZRP_NO_NAMESPACES set in the environment
// it behaves as if namespaces were not permitted.
Network enter_private_network(milliseconds lockPatience = kLockPatience);

} // namespace zrp::harness
