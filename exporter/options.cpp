#include "exporter/options.h"

#include <arpa/inet.h>
#include <charconv>
#include <netinet/in.h>

#include <CLI/CLI.hpp>

#include "exporter/collector.h"
#include "exporter/version.h"

namespace zrp::exporter {
namespace {

constexpr int kHighestPort = 65535;
constexpr double kShortestTimeout = 0.01;
constexpr double kLongestTimeout = 300;
constexpr size_t kUsualConnections = 1000;

template <typename Number>
std::optional<Number> whole_number(std::string_view text) {
    Number number{};
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && stop == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

bool is_host(int family, const std::string& host) {
    in6_addr address{};
    return inet_pton(family, host.c_str(), &address) == 1;
}

std::string check_address(const std::string& text) {
    return ReadAddress(text) ? "" : "not a numeric ADDRESS:PORT: " + text;
}

std::string check_timeout(const std::string& text) {
    return ReadTimeout(text) ? "" : "not a time from 0.01 to 300 seconds: " + text;
}

std::string check_count(const std::string& text) {
    const auto count = whole_number<size_t>(text);
    return count && *count >= 1 && *count <= kMostSeries
               ? ""
               : "not a number from 1 to " + std::to_string(kMostSeries) + ": " + text;
}

} // namespace

std::optional<Address> ReadAddress(std::string_view text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    std::string host(text.substr(0, colon));
    const auto port = whole_number<int>(text.substr(colon + 1));
    const bool isIpv6 = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (isIpv6) {
        host = host.substr(1, host.size() - 2);
    }
    if (!port || *port < 0 || *port > kHighestPort || !is_host(isIpv6 ? AF_INET6 : AF_INET, host)) {
        return {};
    }
    return Address{host, *port};
}

std::optional<std::chrono::milliseconds> ReadTimeout(std::string_view text) {
    const auto seconds = whole_number<double>(text);
    if (!seconds || !(*seconds >= kShortestTimeout && *seconds <= kLongestTimeout)) {
        return {};
    }
    return std::chrono::milliseconds(static_cast<int64_t>(*seconds * 1000));
}

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
    CLI::App app("Figures of a ZRP file server for Prometheus", "zrp-exporter");
    app.set_version_flag("--version", std::string("zrp-exporter ") + kVersion);
    std::string listen = NameOf(options.listen);
    std::string timeout = "5";
    std::string connections;
    app.add_option("--listen", listen, "Where to serve; port 0 takes a free one")
        ->type_name("ADDRESS:PORT")
        ->check(check_address)
        ->capture_default_str();
    app.add_option("--timeout", timeout, "Time limit of a whole collection")
        ->type_name("SECONDS")
        ->check(check_timeout)
        ->capture_default_str();
    // Only with '=': the next argument is never taken for the number.
    const auto* perConnection =
        app.add_flag("--per-connection{" + std::to_string(kUsualConnections) + "}", connections,
                     "Also metrics of up to so many connections, 1000 by default")
            ->check(check_count);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kUsageError;
    }
    options.listen = *ReadAddress(listen);
    options.limits.timeout = *ReadTimeout(timeout);
    if (perConnection->count() > 0) {
        options.limits.connections = *whole_number<size_t>(connections);
    }
    return {};
}

} // namespace zrp::exporter
