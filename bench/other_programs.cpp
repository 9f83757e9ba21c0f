#include "bench/other_programs.h"

#include <csignal>
#include <cstring>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "bench/row.h"
#include "bench/watch.h"
#include "common/heap_text.h"
#include "common/requests/server_statistics.h"
#include "common/transport.h"

namespace zrp::bench {
namespace {

using harness::ChildProcess;
using harness::Key;
using harness::Terminal;
using std::chrono::milliseconds;

constexpr double kServerAim = 3;
constexpr double kDripLimit = 2; // milliseconds of processor time in a second

// A main daemon that answers no request, or announces a long reply and sends a byte of it each
// millisecond.
class SlowDaemon {
public:
    explicit SlowDaemon(bool drips) {
        const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const size_t size = strlen(kMainDaemonSocket);
        memcpy(address.sun_path + 1, kMainDaemonSocket, size);
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + size);
        if (bind(listener, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
            listen(listener, SOMAXCONN) != 0) {
            throw std::runtime_error("the main daemon's name is taken");
        }
        process_ = fork();
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(listener, drips);
        }
        close(listener);
    }
    SlowDaemon(const SlowDaemon&) = delete;
    SlowDaemon& operator=(const SlowDaemon&) = delete;
    ~SlowDaemon() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    [[noreturn]] static void serve(int listener, bool drips) {
        const int client = accept(listener, nullptr, nullptr);
        const ReplyHeader header = {kMagic, 1 << 20, 0};
        if (drips) {
            send(client, &header, sizeof header, MSG_NOSIGNAL);
        }
        for (;;) {
            std::this_thread::sleep_for(milliseconds{1});
            if (drips) {
                send(client, " ", 1, MSG_NOSIGNAL);
            }
        }
    }

    pid_t process_ = -1;
};

void measure_waiting(const std::string& name, bool drips, double limit,
                     const Circumstances& circumstances) {
    circumstances.waitTurn();
    const SlowDaemon daemon(drips);
    Terminal terminal(terminal_of({ZRPTOP_PROGRAM}));
    const auto wait = [&](milliseconds time) { terminal.wait_until([] { return false; }, time); };
    if (!terminal.wait_for("Server Up Time")) {
        throw std::runtime_error("the monitor does not start");
    }
    terminal.press(Key::kF6);
    wait(milliseconds{1000}); // until it waits for nothing but the daemon
    const Cost before = cost_of(terminal);
    const auto start = std::chrono::steady_clock::now();
    wait(milliseconds{circumstances.passes * 400});
    const Cost after = cost_of(terminal);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    print_row({name + ": CPU, ms a second", (after.cpu - before.cpu) / 1e3 / time.count(), NAN, NAN,
               limit});
    print_row({name + ": wake-ups a second", (after.wakeUps - before.wakeUps) / time.count()});
}

// Microseconds of an exchange that asks a server with so many connections for its statistics.
double time_of_statistics(int connections) {
    constexpr int kExchanges = 100;
    harness::ChildOptions options;
    options.arguments = {ZRPSIM_PROGRAM, "--connections", std::to_string(connections)};
    options.standardOutput = harness::kPipe;
    ChildProcess server(options);
    if (server.read_line() != "ready") {
        throw std::runtime_error("the simulated server does not start");
    }
    uint32_t length = 0;
    const HeapText request(BuildServerStatisticsRequest(kServerStatisticsVersion, &length));
    std::vector<double> times;
    for (int i = 0; i < kExchanges; i++) {
        const auto start = std::chrono::steady_clock::now();
        uint64_t replyLength = 0;
        char* reply = nullptr;
        IPCServRequestEx(kMainDaemonSocket, kMainDaemonRequest, length, request.get(), &replyLength,
                         &reply);
        const HeapText owner(reply);
        const std::chrono::duration<double, std::micro> time =
            std::chrono::steady_clock::now() - start;
        if (replyLength == 0) {
            throw std::runtime_error("the simulated server does not answer");
        }
        times.push_back(time.count());
    }
    return lower_quartile(times);
}

void measure_server(const Circumstances& circumstances) {
    circumstances.waitTurn();
    const double few = time_of_statistics(50);
    print_row({"zrpsim with 20 000 connections, us: with 50", time_of_statistics(20'000), few,
               kServerAim});
}

void measure_other(const std::vector<std::string>& command, const Circumstances& circumstances) {
    circumstances.waitTurn();
    const std::string& name = command.front();
    Terminal terminal(terminal_of(command));
    std::vector<Watch> watch = {{&terminal}};
    if (!follow({&watch.front()}, circumstances.passes / 2)) {
        throw std::runtime_error("not installed, or it makes no passes");
    }
    const Cost cost = cost_of_pass(watch);
    print_row({name + ": CPU, us a pass", NAN, cost.cpu});
    print_row({name + ": wake-ups a pass", NAN, cost.wakeUps});
    print_row({name + ": bytes a pass", NAN, cost.bytes});
    print_row({name + ": peak memory, KiB", NAN, peak_memory(terminal.child().pid())});
}

} // namespace

std::vector<Job> other_jobs() {
    return {
        {"zrpsim", measure_server},
        {"Dripping daemon",
         [](const Circumstances& circumstances) {
             measure_waiting("Dripping daemon", true, kDripLimit, circumstances);
         }},
        {"Mute daemon, key typed",
         [](const Circumstances& circumstances) {
             measure_waiting("Mute daemon, key typed", false, NAN, circumstances);
         }},
        {"top",
         [](const Circumstances& circumstances) {
             measure_other({"top", "-d", "1"}, circumstances);
         }},
        {"htop",
         [](const Circumstances& circumstances) {
             measure_other({"htop", "-d", "10"}, circumstances);
         }},
    };
}

} // namespace zrp::bench
