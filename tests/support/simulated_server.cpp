#include "tests/support/simulated_server.h"

#include <unistd.h>

namespace zrp {
namespace {

harness::ChildOptions options_for(std::vector<std::string> arguments) {
    harness::ChildOptions options;
    options.arguments = std::move(arguments);
    options.arguments.insert(options.arguments.begin(), {ZRPSIM_PROGRAM, "--control"});
    options.standardInput = harness::kPipe;
    options.standardOutput = harness::kPipe;
    return options;
}

} // namespace

SimulatedServer::SimulatedServer(std::vector<std::string> arguments)
    : child_(options_for(std::move(arguments))), ready_(child_.read_line() == "ready") {}

bool SimulatedServer::control(const std::string& line) {
    const std::string bytes = line + '\n';
    return write(child_.input().get(), bytes.data(), bytes.size()) ==
               static_cast<ssize_t>(bytes.size()) &&
           child_.read_line() == "ok";
}

} // namespace zrp
