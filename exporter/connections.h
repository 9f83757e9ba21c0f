// The connections of HTTP clients: how many, for how long, and how much they may send.
//
// A client that sends nothing, or byte by byte, or reads nothing costs one thread for a bounded
// time. When there are as many as there may be, the one that has kept the exporter waiting for
// longest makes room for the next: a scrape, which sends its request and reads the answer at once,
// never waits for the others.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <httplib.h>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace zrp::exporter {

inline constexpr size_t kMostConnections = 64;
inline constexpr size_t kLongestHead = 16384; // request line and headers
inline constexpr std::chrono::seconds kHeadTime{2};
inline constexpr std::chrono::seconds kAnswerTime{10};

// Runs each connection on a thread of its own.
class ConnectionThreads {
public:
    // Called by the one thread that accepts; waits while there are too many.
    void Run(const std::function<void()>& serve);

    // Ends all connections and waits for their threads.
    void Finish();

    // A connection registers itself while it waits for its client: for the whole request, and from
    // the start of the answer until the client closes.
    uint64_t Enter(int fd);
    void Leave(uint64_t id);

    // Ends what all connections wait for, those to come too.
    void EndAll();

    // Registers a connection for EndAll.
    uint64_t Open(int fd);
    void Close(uint64_t id);

private:
    void Reap(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<uint64_t, std::thread> threads_;
    std::map<uint64_t, std::thread> ended_; // to be joined
    std::map<uint64_t, int> open_;          // descriptors
    std::map<uint64_t, int> waiting_;       // those that wait for their client, the oldest first
    uint64_t next_ = 0;
    bool ending_ = false;
};

// What the library runs connections with; it deletes the queue when it stops.
class ConnectionQueue : public httplib::TaskQueue {
public:
    explicit ConnectionQueue(ConnectionThreads& threads) : threads_(threads) {}
    void enqueue(std::function<void()> serve) override {
        threads_.Run(serve);
    }
    void shutdown() override {
        threads_.Finish();
    }

private:
    ConnectionThreads& threads_;
};

enum class Head : uint8_t { kWhole, kTooLong, kLate, kClosed };

// Reads up to the empty line after the headers; what follows stays in the socket or is appended.
Head ReadHead(int fd, std::string& head);

// The stream of one request: what was read, then nothing; writing within kAnswerTime. It says when
// writing begins.
class BoundedStream : public httplib::Stream {
public:
    BoundedStream(int fd, std::string input, std::function<void()> begins);
    [[nodiscard]] bool is_readable() const override;
    [[nodiscard]] bool is_writable() const override;
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    [[nodiscard]] socket_t socket() const override;

private:
    int fd_;
    std::string input_;
    std::function<void()> begins_;
    size_t position_ = 0;
    std::chrono::steady_clock::time_point end_; // of writing; set by the first write
};

// Says that the answer is whole, and waits for the client to close, so that the answer reaches one
// that still sends.
void EndGently(int fd);

} // namespace zrp::exporter
