// Commands of zrpctl without a process for each: under the sanitizers, its start and end take ten
// times as long as what it does. What prepare_process() does is tested with the real program.
#pragma once

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "ctl/program.h"
#include "tests/ctl/run_zrpctl.h"
#include "tools/harness/descriptor.h"

// Not there without a sanitizer.
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void* fd);

namespace zrp {

// Takes what this process writes to a standard stream, as long as it exists.
class TakenStream {
public:
    explicit TakenStream(int stream)
        : stream_(stream), kept_(fcntl(stream, F_DUPFD_CLOEXEC, 0)),
          taken_(memfd_create("taken", MFD_CLOEXEC)) {
        dup2(taken_.get(), stream_);
    }

    TakenStream(const TakenStream&) = delete;
    TakenStream& operator=(const TakenStream&) = delete;
    ~TakenStream() {
        dup2(kept_.get(), stream_);
    }

    [[nodiscard]] std::string text() const {
        return contents_of(taken_.get());
    }

private:
    int stream_;
    harness::Descriptor kept_;
    harness::Descriptor taken_;
};

inline std::vector<const char*> as_line(const std::vector<std::string>& words) {
    std::vector<const char*> line;
    for (const std::string& word : words) {
        line.push_back(word.c_str());
    }
    return line;
}

// The same as run_zrpctl().
inline Ran run_here(const std::vector<std::string>& words) {
    (void)std::fflush(stdout);
    // Never closed, since leaks are reported after the last destructor.
    static const intptr_t reports = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(reports));
    }
    const TakenStream output(STDOUT_FILENO);
    const TakenStream errors(STDERR_FILENO);
    const int status = ctl::run_program(as_line(words));
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    return {status, output.text(), errors.text()};
}

} // namespace zrp
