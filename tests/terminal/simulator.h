// The simulated server as the monitor's peer.
//
//     Simulator server({"--clock", "1000"});
//     Terminal terminal(monitor());
//     ...
//     server.control("fault hang:set");
//     terminal.wait_until([&] { return server.logged("fault=hang") > 0; });
#pragma once

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "tools/harness/child_process.h"

namespace zrp {

// What the simulated server can do to a reply. "refuse" is missing: it affects a whole socket.
inline constexpr const char* kReplyFaults[] = {
    "hang",          "drip",      "drip-header", "short-header", "wrong-magic",
    "swapped-magic", "status",    "early-close", "zero-length",  "long-length",
    "garbage",       "truncated", "error-reply", "unclosed",
};

// In the form of a test's name.
inline std::string name_of_fault(const testing::TestParamInfo<const char*>& fault) {
    std::string name(fault.param);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// Listens from construction to destruction.
class Simulator {
public:
    explicit Simulator(const std::vector<std::string>& arguments = {})
        : process_(options(arguments)) {
        expect_line("ready");
    }

    // The number of requests read so far whose line in the log contains the text. A line is "SOCKET
    // NUMBER LENGTH COMMAND", followed by " fault=KIND" if the reply is faulty.
    [[nodiscard]] size_t logged(const std::string& text) const {
        size_t count = 0;
        std::ifstream lines("/proc/self/fd/" + std::to_string(log_.get()));
        for (std::string line; std::getline(lines, line);) {
            count += line.find(text) != std::string::npos ? 1U : 0U;
        }
        return count;
    }

    // Sends one line to the server's control input and waits until it is carried out.
    void control(const std::string& line) {
        const std::string bytes = line + "\n";
        if (write(process_.input().get(), bytes.data(), bytes.size()) !=
            static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("the simulated server does not read its input");
        }
        expect_line("ok");
    }

    harness::ChildProcess& process() {
        return process_;
    }

private:
    [[nodiscard]] harness::ChildOptions options(const std::vector<std::string>& arguments) const {
        harness::ChildOptions options;
        options.arguments = {ZRPSIM_PROGRAM, "--control", "--verbose"};
        options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
        options.standardInput = harness::kPipe;
        options.standardOutput = harness::kPipe;
        options.standardErrors = log_.get();
        return options;
    }

    void expect_line(const std::string& expected) {
        const std::string line = process_.read_line().value_or("nothing");
        if (line != expected) {
            throw std::runtime_error("the simulated server says: " + line);
        }
    }

    const harness::Descriptor log_{
        memfd_create("log", MFD_CLOEXEC)}; // before the process that writes to it
    harness::ChildProcess process_;
};

} // namespace zrp
