// zrpdemo: the monitor on a simulated server, in a private network.
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

#include "tools/harness/private_network.h"
#include "tools/zrpdemo/live.h"
#include "tools/zrpdemo/options.h"
#include "tools/zrpdemo/pictures.h"
#include "tools/zrpdemo/product.h"
#include "tools/zrpdemo/server.h"
#include "tools/zrpdemo/shell.h"
#include "tools/zrpdemo/walk.h"

namespace {

using namespace zrp;
using demo::Options;

// If a standard stream is closed, a descriptor that is opened later would take its place.
void open_standard_streams() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    close(fd);
}

// Returns why the network is not private, or an empty text.
std::string enter_network() {
    const harness::Network network = harness::enter_private_network();
    if (network.kind == harness::NetworkKind::kRefused) {
        throw std::runtime_error(network.reason);
    }
    if (!network.root) {
        throw std::runtime_error("zrptop runs as root only, and this user cannot be root in a "
                                 "private namespace: " +
                                 network.reason + ". Try again as root");
    }
    return network.reason;
}

void print_as_text(const demo::Scene& scene, const harness::Snapshot& shown) {
    std::printf("--- %s (%dx%d)\n%s", scene.caption, shown.columns, shown.rows,
                shown.text().c_str());
}

harness::ExitStatus show_as_text(const Options& options) {
    harness::TerminalOptions monitor = demo::walk_terminal(options.monitor);
    monitor.rows = options.size.lines;
    monitor.columns = options.size.columns;
    return demo::run_walk(monitor, print_as_text);
}

harness::ExitStatus show(const Options& options, const std::string& noProduct) {
    if (options.shell) {
        return demo::run_shell({options.monitor, ZRPCTL_PROGRAM});
    }
    if (!options.pictures.empty()) {
        return demo::draw_pictures({options.monitor, options.pictures, noProduct});
    }
    const bool onTerminal = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
    return onTerminal ? demo::run_live(options.monitor) : show_as_text(options);
}

int run(const Options& options) {
    const std::string notPrivate = enter_network();
    const std::string noProduct = notPrivate.empty() ? demo::install_product() : notPrivate;
    const demo::Server server(options.server, options.pictures.empty()
                                                  ? options.serverArguments
                                                  : demo::picture_server_arguments());
    return show(options, noProduct).shell_status();
}

} // namespace

int main(int argc, char** argv) {
    open_standard_streams();
    try {
        Options options;
        options.monitor = ZRPTOP_PROGRAM;
        options.server = ZRPSIM_PROGRAM;
        const std::optional<int> status = demo::read_options(argc, argv, options);
        return status ? *status : run(options);
    } catch (const std::exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "zrpdemo: %s\n", failure.what());
        return 1;
    }
}
