// The simulated server as a child process. Its three daemons listen from construction to
// destruction.
#pragma once

#include <string>
#include <vector>

#include "tools/harness/child_process.h"

namespace zrp {

class SimulatedServer {
public:
    // Arguments of zrpsim. A fault is given as {"--fault", "KIND:TARGET"}.
    explicit SimulatedServer(std::vector<std::string> arguments = {});

    // False when the daemons do not listen.
    [[nodiscard]] bool ready() const {
        return ready_;
    }

private:
    harness::ChildProcess child_;
    bool ready_ = false;
};

} // namespace zrp
