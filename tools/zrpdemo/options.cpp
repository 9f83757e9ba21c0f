#include "tools/zrpdemo/options.h"

#include <cstdio>

#include <CLI/CLI.hpp>

namespace zrp::demo {
namespace {

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

} // namespace

std::optional<int> read_options(int argc, char** argv, Options& options) {
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
    return {};
}

} // namespace zrp::demo
