// Why a command came to nothing, and the exit status that says so.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace zrp::ctl {

enum class Kind : uint8_t {
    kRefused,
    kUsage,
    kUnreachable,
    kTimeout,
    kReply,
    kOutput,
    kInterrupted,
};

// Thrown, and shown once: by report().
struct Failure {
    Kind kind;
    std::string message;          // one line, without a full stop; text of a server as it came
    const char* daemon = nullptr; // "server", "storage", "management"; null for none
    int64_t code = 0;             // of the server, for kRefused
};

inline constexpr int kSuccess = 0;

struct ExitStatus {
    int status;
    const char* name;    // of the kind in JSON; null for success
    const char* meaning; // for --help and the man page
};

// All of them, in the order of their numbers.
std::span<const ExitStatus> exit_statuses();

const char* name_of(Kind kind);
int exit_status(Kind kind);

// Whether a is worse than b, for a command that asks several daemons: 3, 4, 5, 1 in that order.
bool is_worse(Kind a, Kind b);

// A person's line for it: "volume exists: SYS (server daemon, code 17)".
std::string sentence(const Failure& failure);

} // namespace zrp::ctl
