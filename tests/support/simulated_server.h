// The simulated server as a child process. Its daemons listen from construction to destruction.
#pragma once

#include <string>
#include <vector>

#include "tools/harness/child_process.h"

namespace zrp {

class SimulatedServer {
public:
    // With arguments for zrpsim, such as {"--fault", "KIND:TARGET"}.
    explicit SimulatedServer(std::vector<std::string> arguments = {});

    // False if the daemons do not listen.
    [[nodiscard]] bool ready() const {
        return ready_;
    }

    // Sends a line to its control input. False if it is not carried out.
    [[nodiscard]] bool control(const std::string& line);

private:
    harness::ChildProcess child_;
    bool ready_ = false;
};

} // namespace zrp
