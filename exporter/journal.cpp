#include "exporter/journal.h"

#include <cerrno>

#include "common/result.h"

namespace zrp::exporter {
namespace {

constexpr std::array<const char*, kQuestions> kQuestionNames = {
    "statistics",          "server_version", "storage_version",    "management_version",
    "connection_slots",    "volume_list",    "volume_information", "server_diagnostics",
    "storage_diagnostics", "threads",        "connections"};

constexpr std::array<const char*, kReasons> kReasonNames = {"unreachable", "timeout", "refused",
                                                            "malformed"};

// Local sockets answer within a millisecond; the default of the time limit is five seconds.
const prometheus::Histogram::BucketBoundaries kSeconds = {
    0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10};

struct CodeRow {
    int code;
    Reason reason;
};

// A code that is not here is the server's own.
constexpr CodeRow kCodes[] = {
    {ETIMEDOUT, Reason::kTimeout},        {EAGAIN, Reason::kTimeout},
    {kInvalid, Reason::kMalformed},       {kNotFound, Reason::kMalformed},
    {kRange, Reason::kMalformed},         {kBadMagic, Reason::kMalformed},
    {kShortHeader, Reason::kMalformed},   {kTooLong, Reason::kMalformed},
    {kNoData, Reason::kMalformed},        {kBufferTooSmall, Reason::kMalformed},
    {kNoMemory, Reason::kMalformed},      {EMSGSIZE, Reason::kMalformed},
    {ECONNREFUSED, Reason::kUnreachable}, {EACCES, Reason::kUnreachable},
    {EPERM, Reason::kUnreachable},        {ECONNRESET, Reason::kUnreachable},
    {EPIPE, Reason::kUnreachable},        {EMFILE, Reason::kUnreachable},
    {ENFILE, Reason::kUnreachable},       {ENOBUFS, Reason::kUnreachable},
    {EAFNOSUPPORT, Reason::kUnreachable}, {ECANCELED, Reason::kUnreachable},
};

size_t index_of(Question question) {
    return static_cast<size_t>(question);
}

} // namespace

const char* NameOf(Question question) {
    return kQuestionNames[index_of(question)];
}

const char* NameOf(Reason reason) {
    return kReasonNames[static_cast<size_t>(reason)];
}

Reason ReasonOf(int code, bool serverSpoke) {
    for (const CodeRow& row : kCodes) {
        if (row.code == code && !serverSpoke) {
            return row.reason;
        }
    }
    return Reason::kRefused;
}

Journal::Journal() {
    for (size_t i = 0; i < kQuestions; i++) {
        times_.emplace_back(kSeconds);
    }
}

void Journal::NoteExchange(Question question, std::chrono::duration<double> took) {
    times_[index_of(question)].Observe(took.count());
}

void Journal::NoteFailure(Question question, Reason reason) {
    const std::lock_guard lock(mutex_);
    failures_[index_of(question)][static_cast<size_t>(reason)]++;
}

prometheus::ClientMetric Journal::Times(Question question) const {
    return times_[index_of(question)].Collect();
}

uint64_t Journal::Failures(Question question, Reason reason) const {
    const std::lock_guard lock(mutex_);
    return failures_[index_of(question)][static_cast<size_t>(reason)];
}

} // namespace zrp::exporter
