#include "tools/zrpsim/options.h"

#include <CLI/CLI.hpp>

namespace zrp::sim {
namespace {

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

} // namespace

std::optional<int> read_options(int argc, char** argv, Options& options) {
    CLI::App app{"zrpsim: a simulated ZRP file server", "zrpsim"};
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    return {};
}

} // namespace zrp::sim
