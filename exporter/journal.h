// How the exchanges of all collections went: the exporter's figures about itself.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <prometheus/histogram.h>
#include <string>

namespace zrp::exporter {

// What is asked. A walk over the pages of a list counts as one exchange.
enum class Question : uint8_t {
    kStatistics,
    kServerVersion,
    kStorageVersion,
    kManagementVersion,
    kConnectionSlots,
    kVolumeList,
    kVolumeInformation,
    kServerDiagnostics,
    kStorageDiagnostics,
    kThreads,
    kConnections,
    kCount,
};
inline constexpr size_t kQuestions = static_cast<size_t>(Question::kCount);

// The label `command`.
const char* NameOf(Question question);

enum class Reason : uint8_t { kUnreachable, kTimeout, kRefused, kMalformed, kCount };
inline constexpr size_t kReasons = static_cast<size_t>(Reason::kCount);

// The label `reason`.
const char* NameOf(Reason reason);

// Why an exchange failed: its code, and whether the server said something with it.
Reason ReasonOf(int code, bool serverSpoke);

// The three daemons are asked on threads of their own: any of them may note something.
class Journal {
public:
    Journal();

    void NoteExchange(Question question, std::chrono::duration<double> took);
    void NoteFailure(Question question, Reason reason);

    [[nodiscard]] prometheus::ClientMetric Times(Question question) const;
    [[nodiscard]] uint64_t Failures(Question question, Reason reason) const;

private:
    std::deque<prometheus::Histogram> times_; // it can neither be copied nor moved
    mutable std::mutex mutex_;
    std::array<std::array<uint64_t, kReasons>, kQuestions> failures_{};
};

} // namespace zrp::exporter
