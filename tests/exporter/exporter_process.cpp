#include "tests/exporter/exporter_process.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sstream>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>

#include <gtest/gtest.h>

namespace zrp {
namespace {

using harness::ChildOptions;
using harness::ChildProcess;
using harness::Descriptor;

constexpr std::string_view kListening = "zrp-exporter: listening on ";

ChildOptions options_for(std::vector<std::string> arguments) {
    ChildOptions options;
    bool isTold = false;
    for (const std::string& argument : arguments) {
        isTold = isTold || argument == "--listen";
    }
    if (!isTold) {
        arguments.insert(arguments.begin(), {"--listen", "127.0.0.1:0"});
    }
    arguments.insert(arguments.begin(), ZRP_EXPORTER_PROGRAM);
    options.arguments = std::move(arguments);
    options.standardErrors = harness::kPipe;
#if defined(__SANITIZE_THREAD__)
    // Its report would be lost in the log, and it does not see how a library that is not built for
    // it sets up what its threads share.
    const char* given = std::getenv("TSAN_OPTIONS");
    options.environment = {"TSAN_OPTIONS=" + std::string(given == nullptr ? "" : given) +
                           ":log_path=stdout:suppressions=" ZRP_SOURCES
                           "/tests/exporter/thread_sanitizer.txt"};
#endif
    return options;
}

std::string line_from(int fd) {
    std::string line;
    for (char byte = 0; read(fd, &byte, 1) == 1 && byte != '\n';) {
        line += byte;
    }
    return line;
}

} // namespace

void raise_loopback() {
    const Descriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    if (ioctl(fd.get(), SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) == 0) {
        request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
        ioctl(fd.get(), SIOCSIFFLAGS, &request);
    }
}

Exporter::Exporter(std::vector<std::string> arguments)
    : child_((raise_loopback(), options_for(std::move(arguments)))) {
    const std::string line = line_from(child_.errors().get());
    const size_t colon = line.rfind(':');
    if (!line.starts_with(kListening)) {
        throw std::runtime_error("zrp-exporter does not listen: " + line);
    }
    port_ = std::stoi(line.substr(colon + 1));
}

std::string Exporter::log_line() {
    constexpr std::string_view kName = "zrp-exporter: ";
    const std::string line = line_from(child_.errors().get());
    return line.starts_with(kName) ? line.substr(kName.size()) : line;
}

Descriptor connect_to(int port, const char* host) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host, std::to_string(port).c_str(), &hints, &found) != 0) {
        throw std::runtime_error("no such address");
    }
    Descriptor fd(socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int rc = connect(fd.get(), found->ai_addr, found->ai_addrlen);
    freeaddrinfo(found);
    if (rc != 0) {
        throw std::system_error(errno, std::generic_category(), "connect");
    }
    return fd;
}

void send_text(const Descriptor& connection, const std::string& text) {
    for (size_t at = 0; at < text.size();) {
        const ssize_t sent =
            send(connection.get(), text.data() + at, text.size() - at, MSG_NOSIGNAL);
        if (sent <= 0) {
            return; // the exporter may have heard enough
        }
        at += static_cast<size_t>(sent);
    }
}

std::string read_to_end(const Descriptor& connection) {
    std::string text;
    char block[65536];
    for (ssize_t got = 0; (got = recv(connection.get(), block, sizeof block, 0)) > 0;) {
        text.append(block, static_cast<size_t>(got));
    }
    return text;
}

HttpAnswer ask_http(int port, const std::string& request) {
    const Descriptor connection = connect_to(port);
    send_text(connection, request);
    const std::string text = read_to_end(connection);
    HttpAnswer answer;
    const size_t end = text.find("\r\n\r\n");
    if (text.starts_with("HTTP/1.1 ") && end != std::string::npos) {
        answer.status = std::stoi(text.substr(9, 3));
        answer.head = text.substr(0, end);
        answer.body = text.substr(end + 4);
    }
    return answer;
}

HttpAnswer get_page(int port, const std::string& path) {
    return ask_http(port, "GET " + path + " HTTP/1.1\r\nHost: test\r\n\r\n");
}

Scrape read_metrics(const std::string& text) {
    Scrape metrics;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const size_t blank = line.rfind(' ');
        if (blank == std::string::npos) {
            ADD_FAILURE() << "no metric: " << line;
            continue;
        }
        EXPECT_TRUE(
            metrics.emplace(line.substr(0, blank), std::stod(line.substr(blank + 1))).second)
            << "twice: " << line;
    }
    return metrics;
}

Scrape scrape(int port) {
    const HttpAnswer answer = get_page(port, "/metrics");
    EXPECT_EQ(answer.status, 200);
    return read_metrics(answer.body);
}

size_t count_series(const Scrape& metrics, const std::string& prefix) {
    size_t count = 0;
    for (auto at = metrics.lower_bound(prefix);
         at != metrics.end() && at->first.starts_with(prefix); ++at) {
        count++;
    }
    return count;
}

} // namespace zrp
