#include "tools/harness/process_state.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace zrp::harness {
namespace {

namespace fs = std::filesystem;

fs::path tasks_of(pid_t process) {
    return fs::path("/proc") / std::to_string(process) / "task";
}

fs::path task_of(pid_t process, pid_t thread) {
    return tasks_of(process) / std::to_string(thread);
}

// The state follows the name, which is in parentheses and may hold any character.
char state_in(const fs::path& folder) {
    std::string status;
    std::getline(std::ifstream(folder / "stat"), status);
    const size_t name = status.rfind(')');
    return name == std::string::npos || name + 2 >= status.size() ? '\0' : status[name + 2];
}

bool thread_sleeps(pid_t process, pid_t thread) {
    const char state = state_in(task_of(process, thread));
    return state != 'R' && state != 'D';
}

bool tree_sleeps_but(pid_t exempt, pid_t process) {
    const std::vector<pid_t> threads = threads_of(process);
    const std::vector<pid_t> children = children_of(process);
    return std::all_of(
               threads.begin(), threads.end(),
               [&](pid_t thread) { return thread == exempt || thread_sleeps(process, thread); }) &&
           std::all_of(children.begin(), children.end(), tree_sleeps);
}

} // namespace

char process_state(pid_t process) {
    return state_in(fs::path("/proc") / std::to_string(process));
}

bool has_ended(pid_t process) {
    const char state = process_state(process);
    return state == '\0' || state == 'Z';
}

std::vector<pid_t> threads_of(pid_t process) {
    std::vector<pid_t> threads;
    std::error_code error;
    for (fs::directory_iterator task(tasks_of(process), error), end; task != end;
         task.increment(error)) {
        threads.push_back(std::stoi(task->path().filename()));
    }
    return threads;
}

std::vector<pid_t> children_of(pid_t process) {
    std::vector<pid_t> children;
    for (const pid_t thread : threads_of(process)) {
        std::ifstream list(task_of(process, thread) / "children");
        for (pid_t child = 0; list >> child;) {
            children.push_back(child);
        }
    }
    return children;
}

bool tree_sleeps(pid_t process) {
    return tree_sleeps_but(0, process);
}

bool all_but_the_caller_sleep() {
    return tree_sleeps_but(gettid(), getpid());
}

long sleeps_of_thread(pid_t process, pid_t thread) {
    std::ifstream status(task_of(process, thread) / "status");
    long count = 0;
    for (std::string word; status >> word;) {
        if (word == "voluntary_ctxt_switches:") {
            status >> count;
        }
    }
    return count;
}

} // namespace zrp::harness
