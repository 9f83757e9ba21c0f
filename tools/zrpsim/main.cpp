// zrpsim: a simulated ZRP file server, for demonstrations and tests.
#include <csignal>
#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "tools/zrpsim/server/control.h"
#include "tools/zrpsim/server/server.h"

namespace {

using namespace zrp::sim;

constexpr int64_t kStartUpTime = 3 * 86400 + 4 * 3600 + 5 * 60; // like a server in use

struct Options {
    std::vector<std::string> faults;
    uint64_t seed = 1;
    std::optional<int64_t> clock;
    WorldSize size;
    bool verbose = false;
    bool control = false;
    bool listFaults = false;
};

void declare(CLI::App& app, Options& options) {
    app.add_option("--fault", options.faults, "Damage replies: KIND[:COMMAND or :SOCKET]")
        ->type_name("KIND[:TARGET]")
        ->allow_extra_args(false);
    app.add_flag("--list-faults", options.listFaults, "List the kinds of faults and exit");
    app.add_option("--seed", options.seed, "Create another world");
    app.add_option("--clock", options.clock,
                   "Stop the clock at this up time, so that no figure moves")
        ->type_name("SECONDS")
        ->check(CLI::Range(0, INT32_MAX));
    app.add_option("--volumes", options.size.volumes, "Number of volumes")
        ->capture_default_str()
        ->check(CLI::Range(0, kMaxVolumes));
    app.add_option("--connections", options.size.connections, "Number of connections")
        ->capture_default_str()
        ->check(CLI::Range(0, 1000000));
    app.add_flag("--control", options.control, "Read commands from standard input");
    app.add_flag("-v,--verbose", options.verbose, "Write a line for each request");
}

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
    CLI::App app{"zrpsim: a simulated ZRP file server", "zrpsim"};
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
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
