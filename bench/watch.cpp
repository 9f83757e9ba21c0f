#include "bench/watch.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <thread>
#include <unistd.h>

#include "bench/floor_plan.h"
#include "tools/harness/process_state.h"

namespace zrp::bench {
namespace {

using harness::Deadline;
using harness::milliseconds;
using harness::Terminal;

constexpr milliseconds kLook{50};

double processor_time(pid_t process) {
    clockid_t clock = 0;
    timespec time = {};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return 0;
    }
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double time_of_children(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string word;
    std::getline(file, word, ')'); // the name
    constexpr int kFieldsBefore = 13;
    for (int i = 0; i < kFieldsBefore; i++) {
        file >> word;
    }
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) * 1e3 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Reads what is there, without a wait.
size_t read_output(Terminal& terminal) {
    terminal.wait_until([] { return false; }, milliseconds{0});
    return terminal.raw_output().size();
}

struct Follower {
    Watch* watch;
    size_t printed;
    bool isInPass = false;
};

void look(Follower& follower) {
    const size_t printed = read_output(*follower.watch->terminal);
    if (printed == follower.printed && follower.isInPass) {
        follower.watch->costs.push_back(cost_of(*follower.watch->terminal));
        if (follower.watch->afterPass) {
            follower.watch->afterPass(static_cast<int>(follower.watch->costs.size()) - 1);
        }
    }
    follower.isInPass = printed != follower.printed;
    follower.printed = printed;
}

} // namespace

harness::TerminalOptions terminal_of(const std::vector<std::string>& command) {
    harness::TerminalOptions options{.rows = kTerminalRows, .columns = kTerminalColumns};
    options.child.arguments = command;
    options.child.environment = {"LANG=C.UTF-8", "LC_ALL", "LC_CTYPE"};
    return options;
}

Cost cost_of(Terminal& terminal) {
    const pid_t process = terminal.child().pid();
    Cost cost{processor_time(process), time_of_children(process), 0,
              static_cast<double>(terminal.raw_output().size())};
    for (const pid_t thread : harness::threads_of(process)) {
        cost.wakeUps += static_cast<double>(harness::sleeps_of_thread(process, thread));
    }
    return cost;
}

double peak_memory(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    double peak = 0;
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            status >> peak;
        }
    }
    return peak;
}

bool follow(const std::vector<Watch*>& watches, int passes) {
    std::vector<Follower> followers;
    for (Watch* watch : watches) {
        watch->costs.clear();
        followers.push_back({watch, read_output(*watch->terminal)});
    }
    const auto enough = static_cast<size_t>(passes) + 1;
    const Deadline deadline(milliseconds{kPeriodMs * 2 * (passes + 2)});
    const auto lacks = [&](const Watch* watch) { return watch->costs.size() < enough; };
    while (std::any_of(watches.begin(), watches.end(), lacks)) {
        if (deadline.passed()) {
            return false;
        }
        std::this_thread::sleep_for(kLook);
        std::for_each(followers.begin(), followers.end(), look);
    }
    return true;
}

double lower_quartile(std::vector<double> figures) {
    std::sort(figures.begin(), figures.end());
    return figures[figures.size() / 4];
}

Cost cost_of_pass(const std::vector<Watch>& watches) {
    std::vector<double> times;
    Cost sum;
    for (const Watch& watch : watches) {
        const std::vector<Cost>& costs = watch.costs;
        for (size_t i = 1; i < costs.size(); i++) {
            times.push_back(costs[i].cpu - costs[i - 1].cpu);
        }
        sum.children += costs.back().children - costs.front().children;
        sum.wakeUps += costs.back().wakeUps - costs.front().wakeUps;
        sum.bytes += costs.back().bytes - costs.front().bytes;
    }
    const auto passes = static_cast<double>(times.size());
    return {lower_quartile(times), sum.children / passes, sum.wakeUps / passes, sum.bytes / passes};
}

} // namespace zrp::bench
