#include "common/transport_send.h"

#include <cerrno>
#include <poll.h>
#include <span>
#include <sys/socket.h>
#include <sys/uio.h>
#include <type_traits>

#include "common/result.h"

namespace zrp {
namespace {

// What is still to be sent: a header and the text in up to two pieces.
using Unsent = std::span<iovec>;

Unsent without_first(Unsent unsent, size_t count) {
    while (!unsent.empty() && count >= unsent[0].iov_len) {
        count -= unsent[0].iov_len;
        unsent = unsent.subspan(1);
    }
    if (!unsent.empty()) {
        unsent[0].iov_base = static_cast<char*>(unsent[0].iov_base) + count;
        unsent[0].iov_len -= count;
    }
    return unsent;
}

// All at once, which wakes the daemon once.
int send_all(const IPCClient& client, Unsent unsent, const Bounds& bounds) {
    if (client.fd < 0) {
        return kOk; // as any failed send(): the daemon's silence is the failure
    }
    int rc = bounds.check();
    while (rc == kOk) {
        msghdr message = {};
        message.msg_iov = unsent.data();
        message.msg_iovlen = unsent.size();
        // MSG_NOSIGNAL: no SIGPIPE when the daemon has closed the connection.
        const ssize_t taken = sendmsg(client.fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken == 0) {
            return kShortHeader;
        }
        if (taken < 0 && errno != EAGAIN) {
            return kOk;
        }
        unsent = without_first(unsent, taken < 0 ? 0 : static_cast<size_t>(taken));
        if (unsent.empty()) {
            return kOk;
        }
        rc = wait_ready(client.fd, POLLOUT, {}, bounds);
    }
    return rc;
}

// const_cast: the record of the system call serves for receiving too.
iovec piece_of(const void* data, uint64_t length) {
    return {const_cast<void*>(data), length};
}

RequestHeader header_of(uint32_t requestNumber, uint64_t length) {
    return {kMagic, requestNumber, static_cast<uint32_t>(length)};
}

int send_step(const IPCClient& client, const void* data, uint64_t length) {
    iovec piece = piece_of(data, length);
    return send_all(client, {&piece, 1}, {});
}

} // namespace

int send_request(const IPCClient& client, const ExchangeRequest& request, const Bounds& bounds) {
    const RequestHeader header =
        header_of(request.requestNumber, request.pieces[0].length + request.pieces[1].length);
    iovec pieces[1 + std::extent_v<decltype(request.pieces)>] = {piece_of(&header, sizeof header)};
    size_t count = 1;
    for (const auto& piece : request.pieces) {
        if (piece.length != 0) {
            pieces[count++] = piece_of(piece.text, piece.length);
        }
    }
    return send_all(client, {pieces, count}, bounds);
}

int IPCClient::SendHeader(uint32_t requestNumber, uint64_t length) const {
    const RequestHeader header = header_of(requestNumber, length);
    return send_step(*this, &header, sizeof header);
}

int IPCClient::Send(uint64_t length, const void* data) const {
    return send_step(*this, data, length);
}

} // namespace zrp
