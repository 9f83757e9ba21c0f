// The command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "exporter/http_server.h"
#include "exporter/inquiry.h"

namespace zrp::exporter {

struct Options {
    Address listen = {"127.0.0.1", 9848};
    Limits limits;
};

// ADDRESS:PORT with a numeric address, an IPv6 one in brackets.
std::optional<Address> ReadAddress(std::string_view text);

// Seconds from 0.01 to 300, with a point in every locale.
std::optional<std::chrono::milliseconds> ReadTimeout(std::string_view text);

// Returns nothing when the program has to go on, else its exit status: 0 after --help and
// --version, kUsageError after a message.
inline constexpr int kUsageError = 2;
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

} // namespace zrp::exporter
