#include "screens/shell_command.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/signals.h"
#include "core/status_row.h"

// system() does not do here. It ignores SIGINT and SIGQUIT in the whole process while it runs, so a
// signal for the main thread would be lost. Its child inherits the signal mask of the refresh
// thread, which blocks all signals, and the terminal, to which it writes its errors. And it cannot
// be interrupted.

namespace zrp {
namespace {

// How often a termination request is looked for while a command runs.
constexpr int kPollMilliseconds = 50;

constexpr size_t kDiscardSize = 4096;

struct Pipe {
    int reader = -1;
    int writer = -1;

    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) == 0) {
            reader = ends[0];
            writer = ends[1];
        }
    }
    ~Pipe() {
        close_end(reader);
        close_end(writer);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    static void close_end(int& end) {
        if (end >= 0) {
            close(end);
            end = -1;
        }
    }
};

struct SpawnAttributes {
    posix_spawnattr_t value;

    // A session of its own has no terminal to write to or to get signals from, and is one process
    // group to kill.
    SpawnAttributes() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&value);
        posix_spawnattr_setsigmask(&value, &none);
        posix_spawnattr_setsigdefault(&value, &all);
        posix_spawnattr_setflags(&value, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK |
                                             POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() {
        posix_spawnattr_destroy(&value);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
};

struct SpawnStreams {
    posix_spawn_file_actions_t value;

    explicit SpawnStreams(int output) {
        posix_spawn_file_actions_init(&value);
        posix_spawn_file_actions_adddup2(&value, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&value, output, STDERR_FILENO);
        posix_spawn_file_actions_addopen(&value, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    ~SpawnStreams() {
        posix_spawn_file_actions_destroy(&value);
    }
    SpawnStreams(const SpawnStreams&) = delete;
    SpawnStreams& operator=(const SpawnStreams&) = delete;
};

// The user's environment could name other programs, files that a shell reads at its start, or
// another language.
constexpr const char* kEnvironment[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", nullptr};

// With -C the shell refuses to truncate an ordinary file, to which somebody may have put a link in
// place of the output file. It protects ordinary files only: devices and FIFOs are written to.
pid_t start_shell(const char* command, int output) {
    const SpawnAttributes attributes;
    const SpawnStreams streams(output);
    const char* arguments[] = {"sh", "-C", "-c", command, nullptr};
    pid_t child = -1;
    const int rc = posix_spawn(&child, "/bin/sh", &streams.value, &attributes.value,
                               const_cast<char**>(arguments), const_cast<char**>(kEnvironment));
    if (rc != 0) {
        errno = rc;
        return -1;
    }
    return child;
}

// Discards the command's output until all its processes have closed their end of the pipe. False if
// the timeout is over or the program is to end before that.
bool read_to_end(int reader, std::chrono::milliseconds timeout) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    pollfd watched = {reader, POLLIN, 0};
    while (!termination_requested() && Clock::now() < deadline) {
        if (poll(&watched, 1, kPollMilliseconds) > 0) {
            char discarded[kDiscardSize];
            const ssize_t size = read(reader, discarded, sizeof discarded);
            if (size == 0 || (size < 0 && errno != EINTR)) {
                return true;
            }
        } else {
            note_wait_in_pass();
        }
    }
    return false;
}

int wait_for(pid_t child) {
    int status = -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

} // namespace

int run_shell_command(const char* command, std::chrono::milliseconds timeout) {
    if (termination_requested()) {
        errno = ECANCELED;
        return -1;
    }
    Pipe output;
    const pid_t child = output.writer < 0 ? -1 : start_shell(command, output.writer);
    if (child < 0) {
        return -1;
    }
    Pipe::close_end(output.writer);
    if (!read_to_end(output.reader, timeout)) {
        kill(-child, SIGKILL);
    }
    return wait_for(child);
}

} // namespace zrp
