// An exchange of the library against a plain loop of the same system calls, with one daemon and on
// one processor, for each size of the reply. Rounds of both alternate, and the medians are
// compared, so that a busy machine disturbs both alike.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "bench/one_processor.h"
#include "bench/plain_calls.h"
#include "bench/row.h"
#include "common/transport.h"

namespace {

using zrp::bench::read_all;
using zrp::bench::set_address;
using Clock = std::chrono::steady_clock;

constexpr double kAim = 1.05;
constexpr int kRounds = 60;
constexpr char kRequest[] = "<zrpConsoleRequest><serverStatistics><versionTag>1</versionTag>"
                            "</serverStatistics></zrpConsoleRequest>";

struct Case {
    const char* name;
    uint32_t length; // of the reply
    int exchanges;   // in a round
};

constexpr Case kCases[] = {{"200 B", 200, 400}, {"8 KiB", 8 << 10, 400}, {"1 MiB", 1 << 20, 20}};

// Answers every request with so many bytes as its number says.
[[noreturn]] void serve(int listener) {
    std::vector<char> text(sizeof(zrp::ReplyHeader) + (1 << 20), 'x');
    std::vector<char> request(sizeof kRequest);
    for (;;) {
        const int fd = accept(listener, nullptr, nullptr);
        zrp::RequestHeader asked = {};
        if (read_all(fd, reinterpret_cast<char*>(&asked), sizeof asked) &&
            read_all(fd, request.data(), asked.length)) {
            const zrp::ReplyHeader header = {zrp::kMagic, asked.requestNumber, 0};
            send(fd, &header, sizeof header, MSG_NOSIGNAL);
            send(fd, text.data(), header.length, MSG_NOSIGNAL);
        }
        close(fd);
    }
}

bool plain_exchange(const std::string& name, uint32_t length) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    const socklen_t size = set_address(&address, name);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    bool works = connect(fd, reinterpret_cast<const sockaddr*>(&address), size) == 0;
    const zrp::RequestHeader header = {zrp::kMagic, length, sizeof kRequest - 1};
    send(fd, &header, sizeof header, 0);
    send(fd, kRequest, sizeof kRequest - 1, 0);
    zrp::ReplyHeader reply = {};
    works = works && recv(fd, &reply, sizeof reply, 0) == sizeof reply;
    char* text = static_cast<char*>(malloc(reply.length));
    works = works && read_all(fd, text, reply.length);
    free(text);
    close(fd);
    return works;
}

bool library_exchange(const std::string& name, uint32_t length) {
    uint64_t replyLength = 0;
    char* text = nullptr;
    const int rc = zrp::IPCServRequestEx(name.c_str(), length, sizeof kRequest - 1, kRequest,
                                         &replyLength, &text);
    free(text);
    return rc == 0 && replyLength == length;
}

// Microseconds of one exchange.
double time_of(bool (*exchange)(const std::string&, uint32_t), const std::string& name,
               const Case& row) {
    const auto start = Clock::now();
    for (int i = 0; i < row.exchanges; i++) {
        if (!exchange(name, row.length)) {
            fprintf(stderr, "an exchange has failed\n");
            exit(EXIT_FAILURE);
        }
    }
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / row.exchanges;
}

double median(std::vector<double>& times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main() {
    zrp::bench::use_one_processor();
    const std::string name = "zrp-bench-" + std::to_string(getpid());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    const socklen_t size = set_address(&address, name);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        listen(listener, SOMAXCONN) != 0) {
        perror("listen");
        return EXIT_FAILURE;
    }
    const pid_t server = fork();
    if (server == 0) {
        serve(listener);
    }
    zrp::bench::print_head();
    for (const Case& row : kCases) {
        std::vector<double> library;
        std::vector<double> plain;
        for (int round = 0; round < kRounds; round++) {
            plain.push_back(time_of(plain_exchange, name, row));
            library.push_back(time_of(library_exchange, name, row));
        }
        zrp::bench::print_row({std::string(row.name) + " exchange, us: plain system calls",
                               median(library), median(plain), kAim});
    }
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
    return EXIT_SUCCESS;
}
