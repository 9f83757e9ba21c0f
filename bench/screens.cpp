// screen_rows [TEXT]: what the monitor costs on each screen and with each dialog open beside a
// floor (floor.cpp) that makes the same exchanges and shows the same cells. Prints the rows of the
// screens whose names hold TEXT.
//
// Each screen has a process of its own and, where namespaces are permitted, a network of its own,
// in which the monitor and the floor run side by side on one simulated server. Elsewhere the
// screens have their turn one after another.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/recording.h"
#include "bench/row.h"
#include "bench/watch.h"
#include "tools/harness/private_network.h"
#include "tools/zrpdemo/product.h"

namespace zrp::bench {
namespace {

using harness::ChildOptions;
using harness::ChildProcess;
using harness::Descriptor;
using harness::Key;
using harness::Terminal;

constexpr double kCpuAim = 1.3;
constexpr double kBytesAim = 1.2;
constexpr double kMemoryAim = 1.4;
constexpr double kChildrenLimit = 0.5; // milliseconds of a pass, which is a second
constexpr int kStarts = 15;

Descriptor memory_file(const char* name) {
    return Descriptor(memfd_create(name, MFD_CLOEXEC));
}

struct Server {
    Descriptor log = memory_file("requests");
    ChildProcess process;

    Server() {
        ChildOptions options;
        options.arguments = {ZRPSIM_PROGRAM, "--verbose"};
        options.standardOutput = harness::kPipe;
        options.standardErrors = log.get();
        process = ChildProcess(options);
        if (process.read_line() != "ready") {
            throw std::runtime_error("the simulated server does not start");
        }
    }

    // It writes a line for each.
    [[nodiscard]] long requests() const {
        struct stat status = {};
        fstat(log.get(), &status);
        std::string text(static_cast<size_t>(status.st_size), '\0');
        const ssize_t count = pread(log.get(), text.data(), text.size(), 0);
        return count < 0 ? 0 : std::count(text.begin(), text.end(), '\n');
    }
};

std::unique_ptr<Terminal> open_scene(const Scene& scene, int rows = kTerminalRows) {
    harness::TerminalOptions options = terminal_of({ZRPTOP_PROGRAM});
    options.rows = rows;
    auto terminal = std::make_unique<Terminal>(options);
    bool works = terminal->wait_for(kScenes.front().shown);
    if (scene.key != kScenes.front().key) {
        terminal->press(scene.key);
        terminal->type(scene.typed);
    }
    works = works && terminal->wait_for(scene.shown) && terminal->wait_for_rest();
    if (!works) {
        throw std::runtime_error("the monitor does not show it:\n" + terminal->text());
    }
    return terminal;
}

// The rows inside the main window, in a terminal high enough for all.
std::vector<std::string> all_rows(const Scene& scene) {
    constexpr int kRows = 40;
    constexpr int kFirst = 6;
    constexpr int kColumn = 2;
    const auto terminal = open_scene(scene, kRows);
    std::vector<std::string> rows;
    for (int row = kFirst; row < kRows; row++) {
        std::string text = terminal->screen().text_at(row, kColumn, kTerminalColumns - 2 * kColumn);
        text.erase(0, text.find_first_not_of(' '));
        text.erase(text.find_last_not_of(' ') + 1);
        rows.push_back(text);
    }
    return rows;
}

struct Recorded {
    Plan plan = {};
    std::vector<harness::Snapshot> screens;
    double requests = 0; // of a pass
};

// Follows the monitor alone.
Recorded record(const Scene& scene, const Server& server, Watch& monitor) {
    Recorded recorded;
    const auto& screen = monitor.terminal->screen();
    recorded.plan = plan_of(scene, screen, all_rows(scene));
    std::vector<long> requests;
    monitor.afterPass = [&](int pass) {
        if (pass < kPasses) {
            record_values(scene, screen, pass, recorded.plan);
            recorded.screens.push_back(screen.snapshot());
            requests.push_back(server.requests());
        }
    };
    if (!follow({&monitor}, kPasses - 1)) {
        throw std::runtime_error("the monitor makes no passes");
    }
    monitor.afterPass = {};
    recorded.requests = static_cast<double>(requests.back() - requests.front()) / (kPasses - 1);
    if (recorded.requests != recorded.plan.requestCount) {
        throw std::runtime_error("the floor makes " + std::to_string(recorded.plan.requestCount) +
                                 " exchanges, the monitor " + std::to_string(recorded.requests));
    }
    return recorded;
}

std::string write_plan(const Plan& plan, const Descriptor& file) {
    if (pwrite(file.get(), &plan, sizeof plan, 0) != sizeof plan) {
        throw std::runtime_error("the plan cannot be written");
    }
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file.get());
}

std::unique_ptr<Terminal> start_floor(const std::string& plan, const Recorded& recorded) {
    auto floor = std::make_unique<Terminal>(terminal_of({FLOOR_PROGRAM, plan}));
    if (!floor->wait_until([&] { return floor->screen().snapshot() == recorded.screens.front(); },
                           harness::milliseconds{kPeriodMs})) {
        throw std::runtime_error("the floor shows other cells than the monitor:\n" + floor->text() +
                                 "\n" + recorded.screens.front().text());
    }
    return floor;
}

void print_costs(const std::string& name, const Watch& monitor, const Watch& floor, double bytes,
                 const Recorded& recorded) {
    const Cost ours = cost_of_pass(monitor);
    const Cost other = cost_of_pass(floor);
    print_row({name + ": CPU, us a pass", ours.cpu, other.cpu, kCpuAim});
    print_row(
        {name + ": wake-ups a pass", ours.wakeUps, other.wakeUps, NAN, 1 + recorded.requests});
    print_row({name + ": bytes a pass", bytes, other.bytes, kBytesAim});
    print_row({name + ": peak memory, KiB", peak_memory(monitor.terminal->child().pid()),
               peak_memory(floor.terminal->child().pid()), kMemoryAim});
    if (name == "Version") {
        print_row({name + ": children, ms a pass", ours.children, NAN, NAN, kChildrenLimit});
    }
}

void measure(const Scene& scene) {
    const Server server;
    const auto terminal = open_scene(scene);
    Watch monitor = {terminal.get()};
    const Recorded recorded = record(scene, server, monitor);
    // The floor shows what was recorded in these passes.
    const double bytes = cost_of_pass(monitor).bytes;
    const Descriptor file = memory_file("plan");
    const auto floorTerminal = start_floor(write_plan(recorded.plan, file), recorded);
    Watch floor = {floorTerminal.get()};
    if (!follow({&monitor, &floor}, kPasses)) {
        throw std::runtime_error("no passes are made");
    }
    print_costs(scene.name, monitor, floor, bytes, recorded);
}

// Runs in a process of its own.
void run(const Scene& scene) {
    const harness::Network network = harness::enter_private_network();
    if (network.kind == harness::NetworkKind::kRefused || !network.root) {
        print_missing(scene.name, network.root ? network.reason : "needs root: " + network.reason);
        return;
    }
    if (network.kind == harness::NetworkKind::kPrivate) {
        demo::install_product();
    }
    try {
        measure(scene);
    } catch (const std::exception& failure) {
        print_missing(scene.name, failure.what());
    }
}

struct Turn {
    pid_t process;
    Descriptor output;
};

Turn start_turn(const Scene& scene) {
    Turn turn = {-1, memory_file("rows")};
    turn.process = fork();
    if (turn.process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(turn.output.get(), STDOUT_FILENO);
        run(scene);
        fflush(stdout);
        _exit(EXIT_SUCCESS);
    }
    return turn;
}

void print_turn(const Turn& turn) {
    waitpid(turn.process, nullptr, 0);
    char block[4096];
    off_t at = 0;
    for (ssize_t count = 0; (count = pread(turn.output.get(), block, sizeof block, at)) > 0;) {
        fwrite(block, 1, static_cast<size_t>(count), stdout);
        at += count;
    }
    fflush(stdout);
}

} // namespace
} // namespace zrp::bench

int main(int argc, char** argv) {
    using namespace zrp::bench;
    std::vector<Turn> turns;
    for (const Scene& scene : kScenes) {
        if (argc < 2 || strstr(scene.name, argv[1]) != nullptr) {
            turns.push_back(start_turn(scene));
        }
    }
    print_head();
    for (const Turn& turn : turns) {
        print_turn(turn);
    }
    return EXIT_SUCCESS;
}
