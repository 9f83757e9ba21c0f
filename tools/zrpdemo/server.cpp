#include "tools/zrpdemo/server.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <sys/mman.h>
#include <system_error>

namespace zrp::demo {
namespace {

constexpr std::string_view kReady = "ready\n";
constexpr harness::milliseconds kPollInterval{10};

harness::Descriptor memory_file() {
    harness::Descriptor file(memfd_create("zrpsim log", MFD_CLOEXEC));
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
    return file;
}

harness::ChildProcess start(const std::string& program, const std::vector<std::string>& arguments,
                            int log) {
    harness::ChildOptions options;
    options.arguments = arguments;
    options.arguments.insert(options.arguments.begin(), program);
    options.standardInput = harness::kNull;
    options.standardOutput = log;
    options.standardErrors = log;
    options.ownGroup =
        true; // Ctrl-C must end the monitor only, which needs the server until it ends
    return harness::ChildProcess(options);
}

size_t ready_line(const std::string& text) {
    const size_t at = text.starts_with(kReady) ? 0 : text.find('\n' + std::string(kReady));
    return at == 0 || at == std::string::npos ? at : at + 1;
}

} // namespace

Server::Server(const std::string& program, const std::vector<std::string>& arguments)
    : log_(memory_file()), process_(start(program, arguments, log_.get())) {
    const harness::Deadline deadline(harness::kPatience);
    while (ready_line(written()) == std::string::npos) {
        if (const auto status = process_.wait(kPollInterval)) {
            throw std::runtime_error("the simulated server ended with " + status->text() + ":\n" +
                                     written());
        }
        if (deadline.passed()) {
            throw std::runtime_error("the simulated server did not become ready:\n" + written());
        }
    }
}

Server::~Server() {
    process_.terminate();
    std::string text = written();
    text.erase(ready_line(text), kReady.size());
    std::fputs(text.c_str(), stderr);
}

std::string Server::written() const {
    std::string text;
    std::array<char, 4096> block{};
    ssize_t got = 0;
    while ((got = pread(log_.get(), block.data(), block.size(), static_cast<off_t>(text.size()))) >
           0) {
        text.append(block.data(), static_cast<size_t>(got));
    }
    return text;
}

} // namespace zrp::demo
