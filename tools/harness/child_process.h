// A child process that cannot outlive its owner.
//
//  1. The kernel kills the child (SIGKILL) when the thread that started it ends, however it ends.
//     Start children from the main thread, or from a thread that outlives them.
//  2. The child starts with an empty signal mask, default dispositions and no descriptors but the
//     standard three.
//  3. Failures of the system throw std::system_error, including a program that cannot be executed.
//  4. An object is used by one thread at a time.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tools/harness/deadline.h"
#include "tools/harness/descriptor.h"

namespace zrp::harness {

// What a standard stream of the child is connected to. A value from 0 on is a descriptor, which the
// caller keeps.
inline constexpr int kInherit = -1;
inline constexpr int kPipe = -2; // the other end is input(), output() or errors()
inline constexpr int kNull = -3; // /dev/null

struct ChildOptions {
    std::vector<std::string> arguments =
        {}; // the first is looked up in PATH unless it holds a slash

    // Changes to the caller's environment: "NAME=value" sets a variable, "NAME" removes it.
    std::vector<std::string> environment = {};

    std::string directory = {}; // working directory; empty: the caller's

    int standardInput = kInherit;
    int standardOutput = kInherit;
    int standardErrors = kInherit;

    // Own process group: keys like Ctrl-C on the caller's terminal do not reach the child.
    bool ownGroup = false;

    // Slave side of a pseudo-terminal, or -1. The child leads its own session, with this as the
    // controlling terminal and all three standard streams.
    int terminal = -1;
};

struct ExitStatus {
    int code = 0;   // of exit(), when signal is 0
    int signal = 0; // that killed the process, or 0

    bool operator==(const ExitStatus&) const = default;

    // As in a shell: the code, or 128 plus the signal.
    [[nodiscard]] int shell_status() const {
        return signal == 0 ? code : 128 + signal;
    }

    [[nodiscard]] std::string text() const; // "exit status 3", "signal 9"
};

std::ostream& operator<<(std::ostream& out, const ExitStatus& status);

class ChildProcess {
public:
    ChildProcess() = default; // none yet
    explicit ChildProcess(const ChildOptions& options);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess(); // kills a child that still runs

    [[nodiscard]] pid_t pid() const {
        return pid_;
    }

    // Becomes readable when the child ends; -1 if the system has no such descriptors.
    [[nodiscard]] int exit_descriptor() const {
        return exit_.get();
    }

    // The caller's ends of the requested pipes. Closing input() gives the child an end of file.
    Descriptor& input() {
        return input_;
    }
    Descriptor& output() {
        return output_;
    }
    Descriptor& errors() {
        return errors_;
    }

    // Whether no thread of the child or of its descendants is running or ready to run at this
    // moment: each waits for an event or a timeout. True for a child that has ended.
    [[nodiscard]] bool sleeps() const;

    // Sends a signal unless the child is known to have ended.
    void send_signal(int signal);

    // How the child ended, or nothing if it still runs at the deadline.
    std::optional<ExitStatus> wait(milliseconds patience = kPatience);

    // Sends SIGTERM, and SIGKILL if the child does not end in time.
    ExitStatus terminate(milliseconds patience = kPatience);

    // The next line of the child's output, without its newline. Nothing if the output ends or the
    // deadline passes first.
    std::optional<std::string> read_line(milliseconds patience = kPatience);

    // The rest of the child's output, until the child closes it or the deadline passes.
    std::string read_all(milliseconds patience = kPatience);

private:
    void kill_now() noexcept;
    bool collect(int waitOptions);
    bool fill(const Deadline& deadline);

    pid_t pid_ = -1;
    std::optional<ExitStatus> status_;
    Descriptor exit_;
    Descriptor input_;
    Descriptor output_;
    Descriptor errors_;
    std::string unread_;
};

} // namespace zrp::harness
