#include "tests/support/simulated_server.h"

namespace zrp {
namespace {

harness::ChildOptions options_for(std::vector<std::string> arguments) {
    harness::ChildOptions options;
    options.arguments = std::move(arguments);
    options.arguments.insert(options.arguments.begin(), ZRPSIM_PROGRAM);
    options.standardOutput = harness::kPipe;
    return options;
}

} // namespace

SimulatedServer::SimulatedServer(std::vector<std::string> arguments)
    : child_(options_for(std::move(arguments))), ready_(child_.read_line() == "ready") {}

} // namespace zrp
