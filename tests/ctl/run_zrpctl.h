// The real program, run to its end, and a daemon for it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "tests/support/scripted_peer.h"
#include "tools/harness/child_process.h"
#include "tools/harness/descriptor.h"

namespace zrp {

struct Ran {
    int status = -1; // as in a shell
    std::string output;
    std::string errors;

    // The output as one object on one line; null if it is no such thing.
    [[nodiscard]] nlohmann::ordered_json json() const {
        const bool isOneLine = !output.empty() && output.find('\n') == output.size() - 1;
        return isOneLine ? nlohmann::ordered_json::parse(output, nullptr, false)
                         : nlohmann::ordered_json();
    }
};

inline std::string contents_of(int fd) {
    std::string text;
    char block[4096];
    ssize_t count = 0;
    while ((count = pread(fd, block, sizeof block, static_cast<off_t>(text.size()))) > 0) {
        text.append(block, static_cast<size_t>(count));
    }
    return text;
}

struct RunOptions {
    std::vector<std::string> environment = {};
    std::string input = {}; // of a pipe, which ends after it
};

inline Ran run_zrpctl(std::vector<std::string> arguments, const RunOptions& options = {}) {
    const harness::Descriptor input(memfd_create("input", MFD_CLOEXEC));
    const harness::Descriptor errors(memfd_create("errors", MFD_CLOEXEC));
    (void)!pwrite(input.get(), options.input.data(), options.input.size(), 0);
    harness::ChildOptions child;
    child.arguments = std::move(arguments);
    child.arguments.insert(child.arguments.begin(), ZRPCTL_PROGRAM);
    child.environment = options.environment;
    child.standardInput = input.get();
    child.standardOutput = harness::kPipe;
    child.standardErrors = errors.get();
    harness::ChildProcess process(child);
    Ran ran;
    ran.output = process.read_all();
    ran.status = process.wait().value_or(harness::ExitStatus{-1, 0}).shell_status();
    ran.errors = contents_of(errors.get());
    return ran;
}

// Of a daemon that answers one request with the bytes.
inline PeerScript answering(const std::string& bytes) {
    return {read_request(), send_bytes(bytes)};
}

} // namespace zrp
