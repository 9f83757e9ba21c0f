// network_probe NAME [MILLISECONDS]
//
// Enters the private network, waiting so long for the lock, and prints the result ("private root",
// "shared root", "refused ...: reason"). Then listens on the name and prints "listening" or
// "taken". Ends at the end of its input.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tools/harness/private_network.h"

namespace {

using zrp::harness::Network;
using zrp::harness::NetworkKind;

const char* kind_name(NetworkKind kind) {
    switch (kind) {
    case NetworkKind::kPrivate:
        return "private";
    case NetworkKind::kShared:
        return "shared";
    case NetworkKind::kRefused:
        break;
    }
    return "refused";
}

bool listen_on(const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[1], sizeof address.sun_path - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0 && listen(fd, 5) == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const Network network = zrp::harness::enter_private_network(
        argc > 2 ? zrp::harness::milliseconds{std::atoi(argv[2])} : zrp::harness::kPatience);
    std::printf("%s %s: %s\n", kind_name(network.kind), network.root ? "root" : "user",
                network.reason.c_str());
    if (network.kind == NetworkKind::kRefused) {
        return 1;
    }
    std::puts(listen_on(argv[1]) ? "listening" : "taken");
    while (getchar() != EOF) {
    }
    return 0;
}
