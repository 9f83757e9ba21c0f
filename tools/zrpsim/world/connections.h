// The client connections of the simulated server, and what they come to together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zrp::sim {

struct OpenFile {
    int volumeNumber;
    std::string name; // "VOLUME:directory/file"
    uint32_t handle;
    uint32_t rights;
    int task;
    bool locked;
};

struct Connection {
    int station;
    std::string name; // kNotLoggedIn, or the user's distinguished name
    std::string address;
    int64_t loginMs; // up time at the login
    uint32_t readPerSecond;
    uint32_t writtenPerSecond;
    bool encrypted;
    bool mfa;
    std::vector<std::string> equivalences;
    std::vector<OpenFile> files;
};

inline constexpr std::string_view kNotLoggedIn = "NOT LOGGED IN";

bool logged_in(const Connection& connection);

struct Traffic {
    uint64_t bytesRead;
    uint64_t bytesWritten;
    uint64_t requests;
};

void add_traffic(Traffic& total, const Traffic& more, uint64_t times = 1);

// The traffic of a connection from its login to this up time, in full seconds: sums of it need no
// look at each connection.
Traffic traffic_until(int64_t upTimeMs, const Connection& connection);

struct ConnectionCounts {
    size_t withoutLogin = 0;
    size_t openFiles = 0;
    size_t locks = 0;
};

// All connections, by station. Counts and totals are kept, so that a server with many connections
// answers as soon as one with few.
class Connections {
public:
    const std::vector<Connection>& operator*() const {
        return all_;
    }
    const std::vector<Connection>* operator->() const {
        return &all_;
    }

    // For a change that ends before counts or totals are asked for again.
    std::vector<Connection>& change();

    [[nodiscard]] const ConnectionCounts& counts() const;
    [[nodiscard]] Traffic traffic_until(int64_t upTimeMs) const;

private:
    void count_again() const;

    std::vector<Connection> all_;

    // Of all_ if isCounted_.
    mutable bool isCounted_ = false;
    mutable ConnectionCounts counts_;
    mutable Traffic rate_{}; // a second of all that are logged in
    mutable int64_t lastLoginMs_ = 0;
    // For each millisecond of a second, what their traffic is more than that rate since the start.
    mutable std::vector<Traffic> offsets_;
};

} // namespace zrp::sim
