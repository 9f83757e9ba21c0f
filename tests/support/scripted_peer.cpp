#include "tests/support/scripted_peer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

namespace zrp {
namespace {

using harness::Descriptor;
using harness::milliseconds;

constexpr size_t kWholeStream = SIZE_MAX;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Descriptor bound_socket(std::string_view name) {
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[1], sizeof address.sun_path - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        fail("binding the peer's name");
    }
    return fd;
}

void append_word(std::string& bytes, uint32_t word) {
    std::array<char, sizeof word> raw{};
    std::memcpy(raw.data(), &word, sizeof word);
    bytes.append(raw.data(), raw.size());
}

// One read. Returns the number of bytes, or 0 at the end of the stream or on an error.
size_t read_some(int fd, char* block, size_t size) {
    ssize_t got = 0;
    do {
        got = recv(fd, block, size, 0);
    } while (got < 0 && errno == EINTR);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

} // namespace

PeerStep read_bytes(size_t count) {
    return {PeerStep::Kind::kReadBytes, count};
}

PeerStep read_request() {
    return {PeerStep::Kind::kReadRequest};
}

PeerStep send_bytes(std::string bytes) {
    return {PeerStep::Kind::kSend, 0, std::move(bytes)};
}

PeerStep reply_to(std::function<std::string(const std::string& request)> choose) {
    return {.kind = PeerStep::Kind::kReplyTo, .choose = std::move(choose)};
}

PeerStep pause_for(milliseconds time) {
    return {PeerStep::Kind::kPause, 0, {}, time};
}

PeerStep wait_for_close() {
    return {PeerStep::Kind::kWaitForClose};
}

PeerStep hang() {
    return {PeerStep::Kind::kHang};
}

PeerStep reset() {
    return {PeerStep::Kind::kReset};
}

PeerScript send_in_pieces(std::string_view bytes, size_t size, milliseconds pauseBetween) {
    PeerScript script;
    for (size_t at = 0; at < bytes.size(); at += size) {
        script.push_back(send_bytes(std::string(bytes.substr(at, size))));
        script.push_back(pause_for(pauseBetween));
    }
    return script;
}

std::string reply_header(uint32_t length, uint32_t status, uint32_t magic) {
    std::string bytes;
    append_word(bytes, magic);
    append_word(bytes, length);
    append_word(bytes, status);
    return bytes;
}

std::string reply(std::string_view text, uint32_t status) {
    return reply_header(static_cast<uint32_t>(text.size()), status) + std::string(text);
}

ScriptedPeer::ScriptedPeer(std::string_view name, std::vector<PeerScript> scripts)
    : scripts_(std::move(scripts)), listener_(bound_socket(name)) {
    std::array<int, 2> ends{};
    if (listen(listener_.get(), SOMAXCONN) != 0 || pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("peer");
    }
    stopReader_.reset(ends[0]);
    stopWriter_.reset(ends[1]);
    acceptor_ = std::thread([this] { accept_all(); });
}

ScriptedPeer::~ScriptedPeer() {
    stopWriter_.reset(); // ends every wait
    acceptor_.join();
    for (std::thread& server : servers_) {
        server.join();
    }
}

std::vector<std::string> ScriptedPeer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

size_t ScriptedPeer::connections() const {
    const std::lock_guard lock(mutex_);
    return requests_.size();
}

bool ScriptedPeer::wait_for_connections(size_t count, milliseconds patience) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return requests_.size() >= count; });
}

bool ScriptedPeer::wait_for_finished(size_t count, milliseconds patience) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return finished_ >= count; });
}

// True when the descriptor is ready; false at the timeout or when the peer must stop.
bool ScriptedPeer::wait_for(int fd, short events, int timeout) const {
    std::array<pollfd, 2> waits = {{{stopReader_.get(), POLLIN, 0}, {fd, events, 0}}};
    int ready = 0;
    do {
        ready = poll(waits.data(), waits.size(), timeout);
    } while (ready < 0 && errno == EINTR);
    return waits[0].revents == 0 && waits[1].revents != 0;
}

void ScriptedPeer::accept_all() {
    while (wait_for(listener_.get(), POLLIN)) {
        Descriptor connection(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!connection) {
            continue;
        }
        size_t index = 0;
        {
            const std::lock_guard lock(mutex_);
            index = requests_.size();
            requests_.emplace_back();
        }
        changed_.notify_all();
        servers_.emplace_back(
            [this, index, fd = std::move(connection)]() mutable { serve(std::move(fd), index); });
    }
}

void ScriptedPeer::serve(Descriptor connection, size_t index) {
    if (!scripts_.empty()) {
        for (const PeerStep& step : scripts_[std::min(index, scripts_.size() - 1)]) {
            if (!follow(step, connection, index)) {
                break;
            }
        }
    }
    connection.reset(); // before it counts as finished
    {
        const std::lock_guard lock(mutex_);
        finished_++;
    }
    changed_.notify_all();
}

bool ScriptedPeer::follow(const PeerStep& step, const Descriptor& connection, size_t index) {
    switch (step.kind) {
    case PeerStep::Kind::kReadBytes:
        return receive(connection, index, step.count);
    case PeerStep::Kind::kReadRequest:
        return receive_request(connection, index);
    case PeerStep::Kind::kSend:
        return send_all(connection, step.bytes);
    case PeerStep::Kind::kReplyTo:
        return send_all(connection, step.choose(requests()[index].substr(sizeof(RequestHeader))));
    case PeerStep::Kind::kPause:
        wait_for(-1, 0, static_cast<int>(step.pause.count()));
        return true;
    case PeerStep::Kind::kWaitForClose:
        return receive(connection, index, kWholeStream);
    case PeerStep::Kind::kHang:
        wait_for(-1, 0);
        return false;
    case PeerStep::Kind::kReset:
        wait_for(connection.get(), POLLIN);
        return false;
    }
    return false;
}

// Records what it reads. False if the stream ends, or the peer must stop, before the count.
bool ScriptedPeer::receive(const Descriptor& connection, size_t index, size_t count) {
    std::array<char, 4096> block{};
    while (count > 0) {
        if (!wait_for(connection.get(), POLLIN)) {
            return false;
        }
        const size_t got = read_some(connection.get(), block.data(), std::min(count, block.size()));
        if (got == 0) {
            return count == kWholeStream;
        }
        {
            const std::lock_guard lock(mutex_);
            requests_[index].append(block.data(), got);
        }
        changed_.notify_all();
        count -= count == kWholeStream ? 0 : got;
    }
    return true;
}

bool ScriptedPeer::receive_request(const Descriptor& connection, size_t index) {
    const size_t start = requests()[index].size();
    if (!receive(connection, index, sizeof(RequestHeader))) {
        return false;
    }
    RequestHeader header{};
    const std::string bytes = requests()[index].substr(start);
    std::memcpy(&header, bytes.data(), sizeof header);
    return receive(connection, index, header.length);
}

bool ScriptedPeer::send_all(const Descriptor& connection, std::string_view bytes) {
    while (!bytes.empty()) {
        if (!wait_for(connection.get(), POLLOUT)) {
            return false;
        }
        // Without blocking, so that a client that does not read cannot delay the destruction.
        const ssize_t sent =
            send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(sent > 0 ? static_cast<size_t>(sent) : 0);
    }
    return true;
}

RefusingPeer::RefusingPeer(std::string_view name) : socket_(bound_socket(name)) {}

} // namespace zrp
