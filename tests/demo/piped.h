// The demonstration without a terminal, for its tests.
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

// Several times what a walk takes on a machine with nothing else to do.
inline constexpr harness::milliseconds kWalkPatience{240000};

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

// The demonstration with its output and errors in one pipe and nothing to read.
struct Piped {
    explicit Piped(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(),
                         {"sh", "-c", "exec \"$@\" 2>&1", "sh", ZRPDEMO_PROGRAM});
        ChildProcess demo({.arguments = std::move(arguments),
                           .standardInput = harness::kNull,
                           .standardOutput = harness::kPipe});
        said = demo.read_all(kWalkPatience);
        status = demo.wait();
    }

    [[nodiscard]] bool has(const std::string& text) const {
        return said.find(text) != std::string::npos;
    }

    std::string said;
    std::optional<ExitStatus> status;
};

} // namespace zrp
