// A network of one's own, in which the names of the three daemons belong to nobody else.
//
// The daemons listen on fixed names of the abstract socket namespace, of which each network
// namespace has its own. In a private one, programs that use the names run in parallel, need no
// root and never meet a real server. Where namespaces are not permitted (an ordinary container,
// say) the machine's own network is used: by one program at a time, and only while nobody listens
// on one of the names.
#pragma once

#include <string>

#include "tools/harness/deadline.h"

namespace zrp::harness {

enum class NetworkKind {
    kPrivate, // own network and own mounts, which vanish with the last process in them
    kShared,  // the machine's, behind a lock that this process holds until it ends
    kRefused, // the machine's, and it is in use: do not touch the names
};

struct Network {
    NetworkKind kind = NetworkKind::kRefused;
    bool root = false;  // getuid() is 0, as the monitor demands
    std::string reason; // why it is not private, or empty
};

// How long to stand in line for the machine's own network.
inline constexpr milliseconds kLockPatience{10 * 60 * 1000};

// Puts the calling process and its later children into a private network and mount namespace: as
// root directly, else through a user namespace in which the caller is root. Call it once, first
// thing in main(), while there is one thread. With ZRP_NO_NAMESPACES set in the environment it
// behaves as where namespaces are not permitted.
Network enter_private_network(milliseconds lockPatience = kLockPatience);

} // namespace zrp::harness
