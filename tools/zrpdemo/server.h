// The simulated server of the demonstration.
#pragma once

#include <string>
#include <vector>

#include "tools/harness/child_process.h"
#include "tools/harness/descriptor.h"

namespace zrp::demo {

class Server {
public:
    // Starts the server and waits until it is ready. Throws std::runtime_error with its output when
    // it ends before that or is not ready in time.
    Server(const std::string& program, const std::vector<std::string>& arguments);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Ends the server and prints its output, which would have disturbed the screen before.
    ~Server();

private:
    [[nodiscard]] std::string written() const;

    harness::Descriptor log_; // in memory, because a pipe that nobody reads fills up
    harness::ChildProcess process_;
};

} // namespace zrp::demo
