#include "ctl/failure.h"

#include <algorithm>
#include <array>

namespace zrp::ctl {
namespace {

struct FailureRow {
    Kind kind;
    int status;
    const char* name;
    const char* meaning;
};

constexpr std::array kFailures = {
    FailureRow{Kind::kRefused, 1, "refused",
               "refused by the server, wholly or in part; an unknown statistic or setting too"},
    FailureRow{Kind::kUsage, 2, "usage",
               "the command line is wrong, or a question was answered with no; nothing was sent"},
    FailureRow{Kind::kUnreachable, 3, "unreachable", "a daemon cannot be reached"},
    FailureRow{Kind::kTimeout, 4, "timeout", "the time limit is over"},
    FailureRow{Kind::kReply, 5, "reply",
               "a reply is not understood: cut short, malformed or incomplete"},
    FailureRow{Kind::kOutput, 6, "output", "the output cannot be written, or there is no memory"},
    FailureRow{Kind::kInterrupted, 130, "interrupted", "ended by Ctrl-C"},
};

const FailureRow& failure_row(Kind kind) {
    return kFailures.at(static_cast<size_t>(kind));
}

constexpr size_t kStatusCount = kFailures.size() + 1;

constexpr std::array<ExitStatus, kStatusCount> list_statuses() {
    std::array<ExitStatus, kStatusCount> all = {{{kSuccess, nullptr, "done"}}};
    for (size_t i = 0; i < kFailures.size(); i++) {
        all.at(i + 1) = {kFailures.at(i).status, kFailures.at(i).name, kFailures.at(i).meaning};
    }
    return all;
}

constexpr std::array kStatuses = list_statuses();

// From the worst on; what is not here is worse than all of them.
constexpr std::array kBadness = {Kind::kUnreachable, Kind::kTimeout, Kind::kReply, Kind::kRefused};

auto place_of(Kind kind) {
    const auto* const at = std::find(kBadness.begin(), kBadness.end(), kind);
    return at == kBadness.end() ? -1 : at - kBadness.begin();
}

} // namespace

std::span<const ExitStatus> exit_statuses() {
    return kStatuses;
}

const char* name_of(Kind kind) {
    return failure_row(kind).name;
}

int exit_status(Kind kind) {
    return failure_row(kind).status;
}

bool is_worse(Kind a, Kind b) {
    return place_of(a) < place_of(b);
}

std::string sentence(const Failure& failure) {
    std::string notes = failure.daemon == nullptr ? "" : std::string(failure.daemon) + " daemon";
    if (failure.kind == Kind::kRefused && failure.code != 0) {
        notes += (notes.empty() ? "code " : ", code ") + std::to_string(failure.code);
    }
    return notes.empty() ? failure.message : failure.message + " (" + notes + ")";
}

} // namespace zrp::ctl
