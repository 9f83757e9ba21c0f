// screen_rows [TEXT]: what the monitor costs on each screen and with each dialog open beside a
// floor (floor.cpp) that makes the same exchanges and shows the same cells. Prints the rows of the
// screens whose names hold TEXT.
//
// A few of each run side by side on one simulated server, while the programs of all other screens
// are stopped: beside them the caches are warm, and a pass costs less than where nothing else runs.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/other_programs.h"
#include "bench/recording.h"
#include "bench/row.h"
#include "bench/turns.h"
#include "bench/watch.h"

namespace zrp::bench {
namespace {

using harness::ChildOptions;
using harness::ChildProcess;
using harness::Descriptor;
using harness::milliseconds;
using harness::Terminal;

constexpr double kCpuAim = 1.3;
constexpr double kBytesAim = 1.2;
constexpr double kMemoryAim = 1.4;
constexpr double kChildrenLimit = 0.5; // milliseconds of a pass, which is a second
constexpr int kStarts = 15;
constexpr int kPairs = 3; // of a monitor and a floor, at as many moments of each second
constexpr milliseconds kBetweenStarts{kPeriodMs / (2 * kPairs)};

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
        throw std::runtime_error("the monitor does not show it");
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
};

// Follows the monitor alone. The server's log shows that the plan makes as many exchanges.
Recorded record(const Scene& scene, const Server& server, Watch& monitor, int passes) {
    Recorded recorded;
    const auto& screen = monitor.terminal->screen();
    recorded.plan = plan_of(scene, screen, all_rows(scene));
    std::vector<long> requests;
    monitor.afterPass = [&](int pass) {
        record_values(scene, screen, pass, recorded.plan);
        recorded.screens.push_back(screen.snapshot());
        requests.push_back(server.requests());
    };
    if (!follow({&monitor}, passes)) {
        throw std::runtime_error("the monitor makes no passes");
    }
    monitor.afterPass = {};
    const double ofPass = static_cast<double>(requests.back() - requests.front()) / passes;
    if (std::lround(ofPass) != recorded.plan.requestCount) {
        throw std::runtime_error("the floor makes " + std::to_string(recorded.plan.requestCount) +
                                 " exchanges, the monitor " + figure(ofPass));
    }
    return recorded;
}

std::string write_plan(const Plan& plan, const Descriptor& file) {
    if (pwrite(file.get(), &plan, sizeof plan, 0) != sizeof plan) {
        throw std::runtime_error("the plan cannot be written");
    }
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file.get());
}

// The emulator keeps the colours of what was under the right half of a wide character.
bool is_same(const harness::Cell& one, const harness::Cell& other) {
    return one == other || (one.text.empty() && other.text.empty());
}

// The first cell in which the screens differ, or -1.
ptrdiff_t find_difference(const harness::Snapshot& one, const harness::Snapshot& other) {
    const auto at =
        std::mismatch(one.cells.begin(), one.cells.end(), other.cells.begin(), is_same).first;
    return at == one.cells.end() ? -1 : at - one.cells.begin();
}

std::unique_ptr<Terminal> start_floor(const std::string& plan, const Recorded& recorded) {
    auto floor = std::make_unique<Terminal>(terminal_of({FLOOR_PROGRAM, plan}));
    const auto difference = [&] {
        return find_difference(floor->screen().snapshot(), recorded.screens.front());
    };
    if (!floor->wait_until([&] { return difference() < 0; }, milliseconds{kPeriodMs})) {
        throw std::runtime_error("the floor shows another cell " + std::to_string(difference()) +
                                 " than the monitor");
    }
    return floor;
}

void print_costs(const std::string& name, const std::vector<Watch>& monitors,
                 const std::vector<Watch>& floors, double bytes, const Recorded& recorded) {
    const Cost ours = cost_of_pass(monitors);
    const Cost other = cost_of_pass(floors);
    print_row({name + ": CPU, us a pass", ours.cpu, other.cpu, kCpuAim});
    print_row({name + ": wake-ups a pass", ours.wakeUps, other.wakeUps, NAN,
               1.0 + recorded.plan.requestCount});
    print_row({name + ": bytes a pass", bytes, other.bytes, kBytesAim});
    print_row({name + ": peak memory, KiB", peak_memory(monitors.front().terminal->child().pid()),
               peak_memory(floors.front().terminal->child().pid()), kMemoryAim});
    if (name == "Version") {
        print_row({name + ": children, ms a pass", ours.children, NAN, NAN, kChildrenLimit});
    }
}

// Milliseconds from its start until the whole General screen is there.
double time_of_start(const std::vector<std::string>& command) {
    const auto start = std::chrono::steady_clock::now();
    Terminal terminal(terminal_of(command));
    const auto& screen = terminal.screen();
    terminal.wait_until([&] {
        return screen.find_row(kScenes.front().shown) >= 0 && screen.find_row("Second") >= 0;
    });
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

void print_start(const std::string& plan) {
    std::vector<double> ours;
    std::vector<double> other;
    for (int i = 0; i < kStarts; i++) {
        ours.push_back(time_of_start({ZRPTOP_PROGRAM}));
        other.push_back(time_of_start({FLOOR_PROGRAM, plan}));
    }
    print_row({"First screen, ms after the start", lower_quartile(ours), lower_quartile(other)});
}

void wait(Terminal& terminal, milliseconds time) {
    terminal.wait_until([] { return false; }, time);
}

struct Programs {
    std::vector<std::unique_ptr<Terminal>> terminals;
    std::vector<Watch> watches;

    void add(std::unique_ptr<Terminal> terminal) {
        watches.push_back({terminal.get()});
        terminals.push_back(std::move(terminal));
    }
};

void stop(Terminal& monitor) {
    monitor.child().send_signal(SIGSTOP);
}

void follow_all(Programs& monitors, Programs& floors, int passes) {
    std::vector<Watch*> all;
    for (Programs* programs : {&monitors, &floors}) {
        for (Watch& watch : programs->watches) {
            all.push_back(&watch);
        }
    }
    if (!follow(all, passes)) {
        throw std::runtime_error("no passes are made");
    }
}

void measure(const Scene& scene, const Circumstances& circumstances) {
    const Server server;
    Programs monitors;
    monitors.add(open_scene(scene));
    const Recorded recorded = record(scene, server, monitors.watches.front(), circumstances.passes);
    // The floor shows what was recorded in these passes.
    const double bytes = cost_of_pass(monitors.watches).bytes;
    const Descriptor file = memory_file("plan");
    const std::string plan = write_plan(recorded.plan, file);
    stop(*monitors.terminals.back());
    while (monitors.terminals.size() < kPairs) {
        monitors.add(open_scene(scene));
        stop(*monitors.terminals.back());
    }

    circumstances.waitTurn();
    Programs floors;
    for (const auto& monitor : monitors.terminals) {
        monitor->child().send_signal(SIGCONT);
        wait(*monitor, kBetweenStarts);
        floors.add(start_floor(plan, recorded));
        wait(*floors.terminals.back(), kBetweenStarts);
    }
    follow_all(monitors, floors, circumstances.passes);
    print_costs(scene.name, monitors.watches, floors.watches, bytes, recorded);
    if (&scene == &kScenes.front()) {
        print_start(plan);
    }
}

} // namespace
} // namespace zrp::bench

int main(int argc, char** argv) {
    using namespace zrp::bench;
    std::vector<Job> jobs;
    for (const Scene& scene : kScenes) {
        jobs.push_back({scene.name, [&](const Circumstances& circumstances) {
                            measure(scene, circumstances);
                        }});
    }
    for (const Job& job : other_jobs()) {
        jobs.push_back(job);
    }
    if (argc > 1) {
        std::erase_if(jobs,
                      [&](const Job& job) { return job.name.find(argv[1]) == std::string::npos; });
    }
    print_head();
    run_jobs(jobs);
    return EXIT_SUCCESS;
}
