#include "exporter/connections.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace zrp::exporter {
namespace {

using Clock = std::chrono::steady_clock;

// False when the time is up.
bool wait_for(int fd, short events, Clock::time_point end) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd wait = {fd, events, 0};
        const int ready = poll(&wait, 1, static_cast<int>(std::max<int64_t>(0, left.count())));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

// Where the headers end, or npos.
size_t end_of_head(const std::string& text) {
    const size_t end = text.find("\r\n\r\n");
    return end == std::string::npos ? end : end + 4;
}

} // namespace

void ConnectionThreads::Run(const std::function<void()>& serve) {
    std::unique_lock lock(mutex_);
    while (threads_.size() >= kMostConnections && !ending_) {
        if (!waiting_.empty()) {
            ::shutdown(waiting_.begin()->second, SHUT_RDWR);
            waiting_.erase(waiting_.begin());
        }
        changed_.wait(lock);
    }
    Reap(lock);
    const uint64_t id = next_++;
    std::thread& thread = threads_[id];
    try {
        thread = std::thread([this, id, serve] {
            serve();
            const std::lock_guard guard(mutex_);
            ended_[id] = std::move(threads_[id]);
            threads_.erase(id);
            changed_.notify_all();
        });
    } catch (const std::system_error&) {
        threads_.erase(id);
        lock.unlock();
        serve(); // without a thread the connection is served here, and the next one waits
    }
}

void ConnectionThreads::Reap(std::unique_lock<std::mutex>& lock) {
    std::map<uint64_t, std::thread> ended;
    ended.swap(ended_);
    lock.unlock();
    for (auto& [id, thread] : ended) {
        thread.join();
    }
    lock.lock();
}

void ConnectionThreads::EndAll() {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    for (const auto& [id, fd] : open_) {
        ::shutdown(fd, SHUT_RDWR);
    }
    changed_.notify_all();
}

void ConnectionThreads::Finish() {
    EndAll();
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return threads_.empty(); });
    Reap(lock);
}

uint64_t ConnectionThreads::Open(int fd) {
    const std::lock_guard lock(mutex_);
    if (ending_) {
        ::shutdown(fd, SHUT_RDWR);
    }
    const uint64_t id = next_++;
    open_[id] = fd;
    return id;
}

void ConnectionThreads::Close(uint64_t id) {
    const std::lock_guard lock(mutex_);
    open_.erase(id);
}

uint64_t ConnectionThreads::Enter(int fd) {
    const std::lock_guard lock(mutex_);
    const uint64_t id = next_++;
    waiting_[id] = fd;
    changed_.notify_all();
    return id;
}

void ConnectionThreads::Leave(uint64_t id) {
    const std::lock_guard lock(mutex_);
    waiting_.erase(id);
}

Head ReadHead(int fd, std::string& head) {
    const Clock::time_point end = Clock::now() + kHeadTime;
    std::array<char, 4096> block{};
    while (end_of_head(head) == std::string::npos) {
        if (head.size() > kLongestHead) {
            return Head::kTooLong;
        }
        if (!wait_for(fd, POLLIN, end)) {
            return Head::kLate;
        }
        const ssize_t got = recv(fd, block.data(), block.size(), MSG_DONTWAIT);
        if (got > 0) {
            head.append(block.data(), static_cast<size_t>(got));
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            return Head::kClosed;
        }
    }
    head.resize(end_of_head(head)); // no request of ours has a body
    return head.size() > kLongestHead ? Head::kTooLong : Head::kWhole;
}

BoundedStream::BoundedStream(int fd, std::string input, std::function<void()> begins)
    : fd_(fd), input_(std::move(input)), begins_(std::move(begins)) {}

bool BoundedStream::is_readable() const {
    return position_ < input_.size();
}

bool BoundedStream::is_writable() const {
    return true;
}

ssize_t BoundedStream::read(char* data, size_t size) {
    const size_t count = std::min(size, input_.size() - position_);
    std::copy_n(input_.begin() + static_cast<ptrdiff_t>(position_), count, data);
    position_ += count;
    return static_cast<ssize_t>(count);
}

ssize_t BoundedStream::write(const char* data, size_t size) {
    if (end_ == Clock::time_point()) {
        end_ = Clock::now() + kAnswerTime;
        begins_();
    }
    for (;;) {
        const ssize_t sent = send(fd_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0 || (errno != EAGAIN && errno != EINTR)) {
            return sent;
        }
        if (!wait_for(fd_, POLLOUT, end_)) {
            return -1;
        }
    }
}

// The exporter does not look at addresses.
void BoundedStream::get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const {}
void BoundedStream::get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const {}

socket_t BoundedStream::socket() const {
    return fd_;
}

void EndGently(int fd) {
    constexpr size_t kMostRead = 16U << 20;
    ::shutdown(fd, SHUT_WR);
    // Closing while bytes are unread resets the connection, and the client may lose the answer.
    const Clock::time_point end = Clock::now() + kHeadTime;
    std::array<char, 65536> block{};
    for (size_t total = 0; total < kMostRead && wait_for(fd, POLLIN, end);) {
        const ssize_t got = recv(fd, block.data(), block.size(), MSG_DONTWAIT);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) {
            break;
        }
        total += got > 0 ? static_cast<size_t>(got) : 0;
    }
}

} // namespace zrp::exporter
