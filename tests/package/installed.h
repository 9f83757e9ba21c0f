// The tree that the fixture installed, and a way to run programs on it.
#pragma once

#include <filesystem>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tools/harness/child_process.h"

namespace zrp {

inline const std::filesystem::path kInstalled = ZRP_INSTALLED;
inline const std::filesystem::path kPrefix = kInstalled / "prefix";
inline const std::filesystem::path kLibraries = kPrefix / ZRP_LIBRARY_FOLDER;
inline const std::filesystem::path kHeaders = kPrefix / "include/zrp";

struct Outcome {
    harness::ExitStatus status;
    std::string output; // standard output, then standard error
};

// Runs a program to its end.
inline Outcome run(std::vector<std::string> arguments, std::vector<std::string> environment = {}) {
    harness::ChildOptions options;
    options.arguments = std::move(arguments);
    options.environment = std::move(environment);
    options.standardOutput = harness::kPipe;
    options.standardErrors = harness::kPipe;
    constexpr harness::milliseconds kCompilerPatience{60000};
    harness::ChildProcess child(options);
    Outcome outcome;
    outcome.output = child.read_all(kCompilerPatience);
    char buffer[4096];
    for (ssize_t count = 0; (count = read(child.errors().get(), buffer, sizeof buffer)) > 0;) {
        outcome.output.append(buffer, static_cast<size_t>(count));
    }
    outcome.status = child.wait().value_or(harness::ExitStatus{-1, 0});
    return outcome;
}

} // namespace zrp
