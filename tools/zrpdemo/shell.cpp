#include "tools/zrpdemo/shell.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace zrp::demo {
namespace {

std::string path_with(const std::vector<std::string>& programs) {
    std::string path = "PATH=";
    for (const std::string& program : programs) {
        path += std::filesystem::absolute(program).parent_path().string() + ':';
    }
    const char* before = std::getenv("PATH");
    return path + (before != nullptr ? before : "/usr/bin:/bin");
}

} // namespace

harness::ExitStatus run_shell(const std::vector<std::string>& programs) {
    harness::ChildOptions options;
    options.arguments = {"bash", "--norc"};
    options.environment = {path_with(programs), "PS1=zrp$ "};
    const bool onTerminal = isatty(STDIN_FILENO) == 1;
    if (onTerminal) {
        std::fputs("zrpctl and zrptop use a simulated server here. Try \"zrpctl status\" or "
                   "\"zrpctl --help\"; \"exit\" ends it.\n",
                   stderr);
        // Keys like Ctrl-C are for what runs in the shell.
        std::signal(SIGINT, SIG_IGN);
        std::signal(SIGQUIT, SIG_IGN);
    }
    harness::ChildProcess shell(options);
    std::optional<harness::ExitStatus> status;
    while (!(status = shell.wait())) {
    }
    return *status;
}

} // namespace zrp::demo
