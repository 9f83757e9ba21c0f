// The command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zrp::demo {

struct Size {
    int columns = 80;
    int lines = 25;
};

struct Options {
    std::string monitor; // program
    std::string server;  // program
    std::vector<std::string> serverArguments;
    Size size;
    std::string pictures; // folder, or empty
    bool shell = false;
};

// Returns nothing when the program has to go on, else its exit status: 0 after --help, 1 after a
// message.
std::optional<int> read_options(int argc, char** argv, Options& options);

} // namespace zrp::demo
