// An owned file descriptor, closed when destroyed.
#pragma once

#include <unistd.h>
#include <utility>

namespace zrp::harness {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~Descriptor() {
        reset();
    }

    [[nodiscard]] int get() const {
        return fd_;
    }

    explicit operator bool() const {
        return fd_ >= 0;
    }

    void reset(int fd = -1) {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

} // namespace zrp::harness
