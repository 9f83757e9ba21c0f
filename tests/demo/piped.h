// Runs the demonstration without a terminal.
#pragma once

#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "tools/harness/child_process.h"

namespace zrp {

using harness::ChildProcess;
using harness::ExitStatus;

// Several times what a whole demonstration takes on an idle machine.
inline constexpr harness::milliseconds kDemoPatience{240000};

class Demo : public testing::Test {
protected:
    void SetUp() override {
        ChildProcess namespaces(
            {.arguments = {"unshare", "-Urnm", "true"}, .standardErrors = harness::kNull});
        if (geteuid() != 0 && namespaces.wait() != ExitStatus{}) {
            GTEST_SKIP() << "needs root or namespaces";
        }
    }
};

// The demonstration without input, its output and errors in one pipe.
struct Piped {
    explicit Piped(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(),
                         {"sh", "-c", "exec \"$@\" 2>&1", "sh", ZRPDEMO_PROGRAM});
        ChildProcess demo({.arguments = std::move(arguments),
                           .standardInput = harness::kNull,
                           .standardOutput = harness::kPipe});
        printed = demo.read_all(kDemoPatience);
        status = demo.wait();
    }

    [[nodiscard]] bool has(const std::string& text) const {
        return printed.find(text) != std::string::npos;
    }

    std::string printed;
    std::optional<ExitStatus> status;
};

} // namespace zrp
