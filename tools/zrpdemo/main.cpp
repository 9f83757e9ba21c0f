// zrpdemo: the monitor on a simulated server, in a private network.
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "tools/harness/private_network.h"
#include "tools/zrpdemo/live.h"
#include "tools/zrpdemo/pictures.h"
#include "tools/zrpdemo/product.h"
#include "tools/zrpdemo/server.h"
#include "tools/zrpdemo/shell.h"
#include "tools/zrpdemo/walk.h"

namespace {

using namespace zrp;

struct Size {
    int columns = 80;
    int lines = 25;
};

struct Options {
    std::string monitor = ZRPTOP_PROGRAM;
    std::string server = ZRPSIM_PROGRAM;
    std::vector<std::string> serverArguments;
    Size size;
    std::string pictures; // folder, or empty
    bool shell = false;
};

// Reads a size such as "100x40". Returns an empty text, or what is wrong.
std::string read_size(const std::string& text, Size& size) {
    constexpr int kMost = 1000;
    char more = 0;
    const int fields = std::sscanf(text.c_str(), "%4dx%4d%c", &size.columns, &size.lines, &more);
    const bool good = fields == 2 && size.columns > 0 && size.columns <= kMost && size.lines > 0 &&
                      size.lines <= kMost;
    return good ? "" : "not a size: " + text;
}

void declare(CLI::App& app, Options& options) {
    auto* size = app.add_option("--size");
    size->description("Size of the pseudo-terminal that is used without a terminal")
        ->type_name("COLUMNSxLINES")
        ->default_str("80x25")
        ->check([&](const std::string& text) { return read_size(text, options.size); });
    app.add_option("--zrptop", options.monitor, "The monitor")->type_name("PROGRAM");
    app.add_option("--zrpsim", options.server, "The simulated server")->type_name("PROGRAM");
    auto* arguments = app.add_option("ARGUMENT", options.serverArguments,
                                     "Passed to the simulated server; options after \"--\"");
    app.add_option("--pictures", options.pictures,
                   "Draw pictures of the screens and dialogs into this folder")
        ->type_name("FOLDER")
        ->excludes(size)
        ->excludes(arguments);
    app.add_flag("--shell", options.shell,
                 "Open a shell in which zrpctl and zrptop use the simulated server; without a "
                 "terminal, run the commands of standard input")
        ->excludes("--pictures");
}

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

int parse_and_run(int argc, char** argv) {
    Options options;
    CLI::App app{
        "zrpdemo: zrptop on a simulated server. It runs on the terminal; without one, it prints "
        "the screens and dialogs as text.",
        "zrpdemo"};
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    return run(options);
}

} // namespace

int main(int argc, char** argv) {
    open_standard_streams();
    try {
        return parse_and_run(argc, argv);
    } catch (const std::exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "zrpdemo: %s\n", failure.what());
        return 1;
    }
}
