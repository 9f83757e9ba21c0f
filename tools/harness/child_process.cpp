#include "tools/harness/child_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <ostream>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>

#include "tools/harness/process_state.h"

namespace zrp::harness {
namespace {

[[noreturn]] void fail(const std::string& what, int error = errno) {
    throw std::system_error(error, std::generic_category(), what);
}

struct Pipe {
    Descriptor reader;
    Descriptor writer;
};

Pipe make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

bool same_name(const std::string& entry, const std::string& other) {
    return entry.substr(0, entry.find('=')) == other.substr(0, other.find('='));
}

std::vector<std::string> merged_environment(const std::vector<std::string>& changes) {
    std::vector<std::string> merged;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; entry++) {
        merged.emplace_back(*entry);
    }
    for (const std::string& change : changes) {
        std::erase_if(merged, [&](const std::string& entry) { return same_name(entry, change); });
        if (change.find('=') != std::string::npos) {
            merged.push_back(change);
        }
    }
    return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

// Everything that the child needs, prepared before the fork: between fork and exec nothing may
// allocate, since another thread of the parent may hold the allocator's lock, and since the child
// uses the memory of the parent, which waits.
struct Plan {
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<char*> argv;
    std::vector<char*> envp;
    const char* directory;
    std::array<int, 3> streams;
    bool ownGroup;
    int terminal;
    pid_t parent;
    int report; // pipe for the errno of a failed start
};

void reset_signals() {
    for (int signal = 1; signal < NSIG; signal++) {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        sigaction(signal, &action, nullptr); // fails for a few that cannot be changed anyway
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

bool take_terminal(int terminal) {
    if (setsid() < 0 || ioctl(terminal, TIOCSCTTY, 0) != 0) {
        return false;
    }
    for (int stream = 0; stream < 3; stream++) {
        if (dup2(terminal, stream) < 0) {
            return false;
        }
    }
    return true;
}

bool take_streams(const std::array<int, 3>& streams) {
    for (int stream = 0; stream < 3; stream++) {
        const int source = streams[static_cast<size_t>(stream)];
        // dup2 onto itself would leave the close-on-exec flag set.
        const bool done = source == kInherit ||
                          (source == stream && fcntl(stream, F_SETFD, 0) == 0) ||
                          (source != stream && dup2(source, stream) >= 0);
        if (!done) {
            return false;
        }
    }
    return true;
}

bool prepare_child(const Plan& plan) {
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) {
        return false;
    }
    if (getppid() != plan.parent) { // it ended before the call above
        errno = ESRCH;
        return false;
    }
    if (plan.ownGroup && setpgid(0, 0) != 0) {
        return false;
    }
    if (plan.terminal >= 0 ? !take_terminal(plan.terminal) : !take_streams(plan.streams)) {
        return false;
    }
    return plan.directory == nullptr || chdir(plan.directory) == 0;
}

[[noreturn]] void run_child(const Plan& plan) {
    reset_signals();
    if (prepare_child(plan)) {
        // Best effort: older kernels lack it, and our own descriptors are close-on-exec already.
        close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
        execvpe(plan.argv[0], plan.argv.data(), plan.envp.data());
    }
    const int error = errno;
    [[maybe_unused]] const ssize_t sent = write(plan.report, &error, sizeof error);
    _exit(127);
}

int read_error(int fd) {
    int error = 0;
    ssize_t got = 0;
    do {
        got = read(fd, &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    return got == sizeof error ? error : 0;
}

} // namespace

std::string ExitStatus::text() const {
    return signal == 0 ? "exit status " + std::to_string(code) : "signal " + std::to_string(signal);
}

std::ostream& operator<<(std::ostream& out, const ExitStatus& status) {
    return out << status.text();
}

ChildProcess::ChildProcess(const ChildOptions& options) {
    if (options.arguments.empty()) {
        fail("no program to start", EINVAL);
    }
    Pipe report = make_pipe();
    Plan plan{};
    plan.arguments = options.arguments;
    plan.environment = merged_environment(options.environment);
    plan.argv = pointers(plan.arguments);
    plan.envp = pointers(plan.environment);
    plan.directory = options.directory.empty() ? nullptr : options.directory.c_str();
    plan.streams = {options.standardInput, options.standardOutput, options.standardErrors};
    plan.ownGroup = options.ownGroup;
    plan.terminal = options.terminal;
    plan.parent = getpid();
    plan.report = report.writer.get();

    const std::array<Descriptor*, 3> kept = {&input_, &output_, &errors_};
    std::array<Descriptor, 3> given;
    for (size_t stream = 0; stream < 3; stream++) {
        if (plan.streams[stream] == kPipe) {
            Pipe pipe = make_pipe();
            *kept[stream] = std::move(stream == 0 ? pipe.writer : pipe.reader);
            given[stream] = std::move(stream == 0 ? pipe.reader : pipe.writer);
        } else if (plan.streams[stream] == kNull) {
            given[stream].reset(open("/dev/null", O_RDWR | O_CLOEXEC));
        }
        if (given[stream]) {
            plan.streams[stream] = given[stream].get();
        }
    }

    // fork() would take longer than all else here, since it copies the page tables.
    const pid_t child = vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child == 0) {
        run_child(plan); // NOLINT(clang-analyzer-unix.Vfork): it keeps to what its plan says
    }
    pid_ = child;
    if (pid_ < 0) {
        fail("fork");
    }
    report.writer.reset();
    const int error = read_error(report.reader.get()); // exec closes the pipe
    if (error != 0) {
        kill_now();
        fail("cannot start " + options.arguments[0], error);
    }
    // Not through the C library, whose header lacks the C++ guard. Always close-on-exec.
    exit_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept {
    *this = std::move(other);
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    if (this != &other) {
        kill_now();
        pid_ = std::exchange(other.pid_, -1);
        status_ = std::exchange(other.status_, std::nullopt);
        exit_ = std::move(other.exit_);
        input_ = std::move(other.input_);
        output_ = std::move(other.output_);
        errors_ = std::move(other.errors_);
        unread_ = std::move(other.unread_);
    }
    return *this;
}

ChildProcess::~ChildProcess() {
    kill_now();
}

void ChildProcess::kill_now() noexcept {
    if (pid_ > 0 && !status_) {
        kill(pid_, SIGKILL);
        collect(0);
    }
}

// Collects the child's status, if there is one (WNOHANG) or when there is one (0).
bool ChildProcess::collect(int waitOptions) {
    if (status_ || pid_ <= 0) {
        return true;
    }
    int raw = 0;
    pid_t got = 0;
    do {
        got = waitpid(pid_, &raw, waitOptions);
    } while (got < 0 && errno == EINTR);
    if (got == 0) {
        return false;
    }
    status_ = ExitStatus{};
    if (got == pid_) {
        status_->code = WIFEXITED(raw) ? WEXITSTATUS(raw) : 0;
        status_->signal = WIFSIGNALED(raw) ? WTERMSIG(raw) : 0;
    }
    return true;
}

bool ChildProcess::sleeps() const {
    return tree_sleeps(pid_);
}

void ChildProcess::send_signal(int signal) {
    if (pid_ > 0 && !collect(WNOHANG)) {
        kill(pid_, signal);
    }
}

std::optional<ExitStatus> ChildProcess::wait(milliseconds patience) {
    const Deadline deadline(patience);
    while (!collect(WNOHANG) && !deadline.passed()) {
        if (exit_) {
            pollfd ended{exit_.get(), POLLIN, 0};
            poll(&ended, 1, deadline.poll_timeout());
        } else {
            std::this_thread::sleep_for(milliseconds{5});
        }
    }
    return status_;
}

ExitStatus ChildProcess::terminate(milliseconds patience) {
    send_signal(SIGTERM);
    if (!wait(patience)) {
        kill_now();
    }
    return status_.value_or(ExitStatus{});
}

// Reads what is there or arrives before the deadline; false at the end of the output.
bool ChildProcess::fill(const Deadline& deadline) {
    pollfd readable{output_.get(), POLLIN, 0};
    if (!output_ || poll(&readable, 1, deadline.poll_timeout()) < 0) {
        return static_cast<bool>(output_) && errno == EINTR;
    }
    if (readable.revents == 0) {
        return true;
    }
    std::array<char, 4096> block{};
    const ssize_t got = read(output_.get(), block.data(), block.size());
    if (got > 0) {
        unread_.append(block.data(), static_cast<size_t>(got));
    }
    return got > 0;
}

std::optional<std::string> ChildProcess::read_line(milliseconds patience) {
    const Deadline deadline(patience);
    size_t end = unread_.find('\n');
    while (end == std::string::npos && !deadline.passed() && fill(deadline)) {
        end = unread_.find('\n');
    }
    if (end == std::string::npos) {
        return std::nullopt;
    }
    std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    return line;
}

std::string ChildProcess::read_all(milliseconds patience) {
    const Deadline deadline(patience);
    while (!deadline.passed() && fill(deadline)) {
    }
    return std::exchange(unread_, {});
}

} // namespace zrp::harness
