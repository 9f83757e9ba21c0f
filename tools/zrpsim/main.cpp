// zrpsim: a simulated ZRP file server, for demonstrations and tests.
#include <csignal>
#include <cstdio>
#include <exception>

#include "tools/zrpsim/options.h"
#include "tools/zrpsim/server/control.h"
#include "tools/zrpsim/server/server.h"

namespace {

using namespace zrp::sim;

constexpr int64_t kStartUpTime = 3 * 86400 + 4 * 3600 + 5 * 60; // like a server in use

int list_faults() {
    for (const FaultKind& kind : fault_kinds()) {
        std::printf("%-14s %s\n", kind.name, kind.description);
    }
    return 0;
}

void set_up(Server& server, const Options& options) {
    for (const std::string& fault : options.faults) {
        const std::string problem = read_fault(fault, server.faults);
        if (!problem.empty()) {
            throw std::runtime_error(problem);
        }
    }
    server.world = make_world(options.seed, options.size);
    server.verbose = options.verbose;
    server.clock.startMs = kStartUpTime * 1000;
    if (options.clock) {
        server.clock.pinnedMs = *options.clock * 1000;
    } else {
        server.world.bootEpoch = std::time(nullptr) - kStartUpTime;
    }
    server.firstWorld = server.world;
}

int serve(const Options& options) {
    Server server;
    set_up(server, options);
    asio::signal_set signals(server.io, SIGINT, SIGTERM);
    signals.async_wait([&](std::error_code, int) { server.io.stop(); });
    update_listeners(server);
    if (options.control) {
        start_control(server);
    }
    std::puts("ready");
    std::fflush(stdout);
    server.io.run();
    return 0;
}

int run(int argc, char** argv) {
    Options options;
    if (const std::optional<int> status = read_options(argc, argv, options)) {
        return *status;
    }
    return options.listFaults ? list_faults() : serve(options);
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zrpsim: %s\n", failure.what());
        return 1;
    }
}
