#include <array>
#include <atomic>
#include <dirent.h>
#include <thread>

#include "common/client.h"
#include "tests/soak/monitor.h"

namespace zrp::soak {
namespace {

constexpr size_t kThreads = 4;

struct Call {
    const char* name;
    int (*run)();
};

constexpr Call kCalls[] = {
    {"ListStatistics", [] { return client::ListStatistics().code; }},
    {"GetServerCounters", [] { return client::GetServerCounters().code; }},
    {"ListVolumes", [] { return client::ListVolumes().code; }},
    {"GetVolume", [] { return client::GetVolume("SYS").code; }},
    {"ListConnections", [] { return client::ListConnections().code; }},
    {"GetConnection", [] { return client::GetConnection(2).code; }},
    {"ListServerCounters", [] { return client::ListServerCounters().code; }},
    {"ListStorageCounters", [] { return client::ListStorageCounters().code; }},
    {"ListSettings", [] { return client::ListSettings().code; }},
    {"ListOpenFiles", [] { return client::ListOpenFiles().code; }},
    {"GetThreads", [] { return client::GetThreads().code; }},
    {"GetServerConfig", [] { return client::GetServerConfig().code; }},
    {"ListFilters", [] { return client::ListFilters().code; }},
    {"ListStorageVolumes", [] { return client::ListStorageVolumes().code; }},
    {"MountVolumes", [] { return client::MountVolumes("SYS").code; }},
    {"ClearNotLoggedInConnections", [] { return client::ClearNotLoggedInConnections().code; }},
};

size_t count_own_descriptors() {
    size_t count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) {
        count++;
    }
    closedir(folder);
    return count;
}

// Four threads that call at random, until the destruction.
class Callers {
public:
    Callers(Turn& turn, Server& server) : server_(server) {
        for (std::thread& thread : threads_) {
            thread = std::thread([this, seed = turn.random()] { call(seed); });
        }
    }

    Callers(const Callers&) = delete;
    Callers& operator=(const Callers&) = delete;

    ~Callers() {
        over_ = true;
        server_.kill(); // ends what waits for a reply
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

private:
    void call(uint64_t seed) {
        std::mt19937_64 random(seed);
        while (!over_) {
            kCalls[random() % std::size(kCalls)].run();
        }
    }

    Server& server_;
    std::atomic<bool> over_ = false;
    std::array<std::thread, kThreads> threads_;
};

} // namespace

void soak_library(Turn& turn) {
    Server server(turn);
    const client::Session session;
    require(client::ListStatistics().code == kOk, "no statistics before the faults");
    const size_t descriptors = count_own_descriptors();

    {
        const Callers callers(turn, server);
        for (int left = turn.between(5, 20); left > 0; left--) {
            std::this_thread::sleep_for(harness::milliseconds(turn.between(0, 200)));
            turn.below(8) == 0 ? server.start() : server.damage();
        }
    }
    server.start();
    for (const Call& call : kCalls) {
        const int rc = call.run();
        require(rc == kOk, std::string(call.name) + " gives " + std::to_string(rc));
    }
    require(count_own_descriptors() == descriptors, "descriptors are left open");
}

} // namespace zrp::soak
