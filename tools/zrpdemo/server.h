// The simulated server behind the demonstration.
#pragma once

#include <string>
#include <vector>

#include "tools/harness/child_process.h"
#include "tools/harness/descriptor.h"

namespace zrp::demo {

class Server {
public:
    // Starts it and returns once it is ready. Throws std::runtime_error, with what it said, when it
    // ends before that or is not ready in time.
    Server(const std::string& program, const std::vector<std::string>& arguments);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Ends it, and passes on what it has written: now that does not disturb the screen.
    ~Server();

private:
    [[nodiscard]] std::string written() const;

    harness::Descriptor log_; // in memory, since a pipe that nobody reads would fill up
    harness::ChildProcess process_;
};

} // namespace zrp::demo
