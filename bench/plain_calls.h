// What an exchange is made of without the library.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

namespace zrp::bench {

// Fills the address, all zero before, of a name in the abstract namespace. Returns its length.
inline socklen_t set_address(sockaddr_un* address, std::string_view name) {
    address->sun_family = AF_UNIX;
    memcpy(address->sun_path + 1, name.data(), name.size());
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
}

// Returns false when the peer ends before.
inline bool read_all(int fd, char* data, size_t size) {
    while (size > 0) {
        const ssize_t count = recv(fd, data, size, 0);
        if (count <= 0) {
            return false;
        }
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

} // namespace zrp::bench
