// network_probe [NAME]
//
// Enters the private network, says how that went ("private root", "shared root", "refused ...:
// reason"), then listens on the name, if one is given, and says "listening" or "taken". Ends with
// its input.
#include <cstddef>
#include <cstdio>
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
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const Network network = zrp::harness::enter_private_network(zrp::harness::milliseconds{3000});
    std::printf("%s %s: %s\n", kind_name(network.kind), network.root ? "root" : "user",
                network.reason.c_str());
    if (network.kind == NetworkKind::kRefused) {
        return 1;
    }
    if (argc > 1) {
        std::puts(listen_on(argv[1]) ? "listening" : "taken");
    }
    while (getchar() != EOF) {
    }
    return 0;
}
