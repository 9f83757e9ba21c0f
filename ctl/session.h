// One round of a command: the options of the user, the time that is left, and exchanges with the
// daemons.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/heap_text.h"
#include "ctl/reply.h"

namespace zrp::ctl {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

inline constexpr milliseconds kUsualTimeout{10'000};
inline constexpr milliseconds kUsualInterval{2000};

struct Options {
    bool json = false;
    bool noHeading = false;
    bool verbose = false;
    bool yes = false;
    bool dryRun = false;
    bool ifNeeded = false;
    milliseconds timeout = kUsualTimeout;
    std::optional<milliseconds> watch;
};

struct Daemon {
    const char* name; // for people and in JSON
    const char* socketName;
    uint32_t requestNumber;
    const char* envelope; // the element around each reply
};

extern const Daemon kServer;
extern const Daemon kStorage;
extern const Daemon kStorageCounters; // the storage daemon's other request number
extern const Daemon kManagement;

struct Request {
    HeapText bytes;
    uint32_t length = 0;
    std::string document; // for people, where the bytes are more than that
};

// What build(&length) writes. Throws a Failure of kind kUsage for what a builder refuses.
template <typename Build>
Request request(Build build);

// A reply without an error.
struct Answer {
    Document document;
    Node envelope;
    std::chrono::microseconds took{0};
    int32_t process = 0; // that listens, and its user
    uint32_t user = 0;
};

// Thrown instead of an exchange by change() when the user only wants to see the document.
struct DryRun {
    const char* daemon;
    std::string document;
};

class Session {
public:
    explicit Session(const Options& options);

    [[nodiscard]] const Options& options() const {
        return options_;
    }

    // What is left of the time limit; not above 0 when it is over.
    [[nodiscard]] milliseconds left() const;

    // Time that does not count: a person thought.
    void give_back(Clock::duration time) {
        end_ += time;
    }

    // Asks a daemon. Throws a Failure. May be called on several threads. *raw becomes the reply as
    // it came, unless it is null.
    [[nodiscard]] Answer ask(const Daemon& daemon, const Request& request,
                             std::string* raw = nullptr) const;

    // The same for what changes something. Throws a DryRun instead with --dry-run.
    [[nodiscard]] Answer change(const Daemon& daemon, const Request& request,
                                std::string* raw = nullptr);

    // Whether a change was sent, whatever became of it.
    [[nodiscard]] bool has_changed() const {
        return hasChanged_;
    }

private:
    const Options options_;
    Clock::time_point end_;
    bool hasChanged_ = false;
};

// The element of a command in an answer. Throws a Failure without one.
Node command_of(const Answer& answer, const Daemon& daemon, const char* tag);

// Throws a Failure of kind kReply.
[[noreturn]] void fail_reply(const std::string& message, const Daemon& daemon);

// Throws the Failure for what a builder set errno to.
[[noreturn]] void fail_request(int error);

template <typename Build>
Request request(Build build) {
    Request made;
    made.bytes.reset(build(&made.length));
    if (made.bytes == nullptr) {
        fail_request(errno);
    }
    made.document.assign(made.bytes.get(), made.length);
    return made;
}

} // namespace zrp::ctl
