// A daemon that never gets as far as a connection.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tools/harness/descriptor.h"

namespace zrp {

inline sockaddr_un address_of(const std::string& name, socklen_t* length) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[1], sizeof address.sun_path - 1);
    *length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return address;
}

// A daemon that accepts no connection and whose backlog is full.
class FullPeer {
public:
    FullPeer() : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        socklen_t length = 0;
        const sockaddr_un address = address_of(kMainDaemonSocket, &length);
        const auto* raw = reinterpret_cast<const sockaddr*>(&address);
        EXPECT_EQ(bind(listener_.get(), raw, length), 0);
        EXPECT_EQ(listen(listener_.get(), 0), 0);
        for (harness::Descriptor& waiting : waiting_) {
            waiting.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            full_ = connect(waiting.get(), raw, length) != 0 && errno == EAGAIN;
        }
    }

    [[nodiscard]] bool full() const {
        return full_;
    }

    void accept_all() {
        while (accept_one()) {
        }
    }

private:
    bool accept_one() {
        pollfd watched = {listener_.get(), POLLIN, 0};
        if (poll(&watched, 1, 0) != 1) {
            return false;
        }
        const harness::Descriptor accepted(accept(listener_.get(), nullptr, nullptr));
        return true;
    }

    harness::Descriptor listener_;
    std::array<harness::Descriptor, 4> waiting_;
    bool full_ = false;
};

} // namespace zrp
