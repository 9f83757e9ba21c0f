#include "exporter/inquiry.h"

#include <charconv>
#include <future>

#include "common/exchange_limits.h"
#include "common/tags.h"

namespace zrp::exporter {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A reply that is longer than this is none: a hostile daemon must not choose how much memory the
// exporter takes. 20 000 connections take a tenth of it.
constexpr uint32_t kLongestReply = 64U << 20;

// What one daemon is asked, on one thread.
class Interview {
public:
    Interview(Clock::time_point deadline, Journal& journal)
        : deadline_(deadline), journal_(journal) {}

    // The first exchange may take all the time: without an answer there is nothing else to ask.
    // Returns whether the daemon is up: whether a reply came, be it a refusal.
    template <typename Ask, typename Value>
    bool First(Question question, Ask ask, std::optional<Value>& value) {
        return Put(question, Left(), ask, value) != Ending::kNoReply;
    }

    // Each later one may take half of the time that is left, so that a daemon that is mute on one
    // command can still answer the others.
    template <typename Ask, typename Value>
    bool Next(Question question, Ask ask, std::optional<Value>& value) {
        return Put(question, Left() / 2, ask, value) == Ending::kAnswered;
    }

    enum class Ending : uint8_t { kAnswered, kRefused, kGarbled, kNoReply };

    template <typename Ask, typename Value>
    Ending Put(Question question, milliseconds time, Ask ask, std::optional<Value>& value) {
        const ExchangeLimitsGuard guard({.totalMs = std::max(1, static_cast<int32_t>(time.count())),
                                         .wholeReply = true,
                                         .longestReply = kLongestReply});
        const Clock::time_point start = Clock::now();
        auto answer = ask();
        journal_.NoteExchange(question, Clock::now() - start);
        if (answer) {
            value = std::move(answer.value);
            return Ending::kAnswered;
        }
        const Reason reason = ReasonOf(answer.code, !answer.error.empty());
        journal_.NoteFailure(question, reason);
        return EndingOf(reason, answer.code);
    }

    [[nodiscard]] milliseconds Left() const {
        return std::chrono::duration_cast<milliseconds>(deadline_ - Clock::now());
    }

private:
    // The transport has two codes for a reply that is not one.
    static Ending EndingOf(Reason reason, int code) {
        if (reason == Reason::kRefused) {
            return Ending::kRefused;
        }
        const bool came = reason == Reason::kMalformed && code != kBadMagic && code != kShortHeader;
        return came ? Ending::kGarbled : Ending::kNoReply;
    }

    Clock::time_point deadline_;
    Journal& journal_;
};

constexpr const char* kThreadElements[] = {
    tag::currAsynceDirThreads,   tag::maxAsynceDirThreads,    tag::peakAsynceDirThreads,
    tag::currQueuedeDirRequests, tag::peakQueuedeDirRequests, tag::activeSSGThreads,
    tag::addlSSGThreads,         tag::totalZRPStreams,        tag::averageSSGThreadLoad,
    tag::peakSSGThreads,         tag::peakZRPStreams,         tag::peakAverageSSGThreadLoad,
};

// Unlike the library's own scanner, this one distinguishes a missing figure from one that is 0.
int scan_threads(char* reply, int length, std::vector<ThreadFigure>* figures) {
    uint32_t size = 0;
    char* threads = XML_GetTagElement(reply, length, tag::threads, &size);
    if (threads == nullptr) {
        return kInvalid;
    }
    for (const char* element : kThreadElements) {
        uint32_t textLength = 0;
        const char* text =
            XML_GetTagElement(threads, static_cast<int32_t>(size), element, &textLength);
        double value = 0;
        if (text != nullptr && std::from_chars(text, text + textLength, value).ec == std::errc()) {
            figures->push_back({element, value});
        }
    }
    return kOk;
}

client::Answer<std::vector<ThreadFigure>> list_threads() {
    return client::detail::Ask<std::vector<ThreadFigure>>(
        client::detail::Request(BuildThreadsRequest), scan_threads);
}

// Whether the volume can be asked about: the server has no figures for one that is not mounted, and
// a longer name does not fit into the request.
bool has_information(const client::Volume& volume) {
    return (volume.status & kVolumeMounted) != 0 &&
           client::Unescaped(volume.name).size() <= kMaxAskedVolumeName;
}

// A refusal concerns one volume, which may have gone since the list was made. Any other failure
// ends the questions, and the figures of all volumes with them.
bool ask_about(Interview& interview, milliseconds time, VolumeFacts& volume) {
    const auto ending = interview.Put(
        Question::kVolumeInformation, time, [&] { return client::GetVolume(volume.listed.name); },
        volume.details);
    return ending == Interview::Ending::kAnswered || ending == Interview::Ending::kRefused;
}

void ask_about_volumes(Interview& interview, Facts& facts) {
    std::optional<std::vector<client::Volume>> listed;
    if (!interview.Next(Question::kVolumeList, client::ListVolumes, listed)) {
        return;
    }
    facts.volumes.emplace();
    for (client::Volume& volume : *listed) {
        facts.volumes->push_back({std::move(volume), {}});
    }
    const Clock::time_point end = Clock::now() + interview.Left() / 2;
    facts.volumesAnswered = true;
    for (VolumeFacts& volume : *facts.volumes) {
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
        if (has_information(volume.listed) && !ask_about(interview, left, volume)) {
            facts.volumesAnswered = false;
            return;
        }
    }
}

// The list is read to its end, to know how many connections are passed over; those are not kept.
client::Answer<std::vector<client::Connection>> list_connections(size_t limit, uint64_t* others) {
    client::Answer<std::vector<client::Connection>> first;
    const client::Answer<> end =
        client::ForEachConnection([&](const client::Connection& connection) {
            if (first.value.size() < limit) {
                first.value.push_back(connection);
            } else {
                ++*others;
            }
        });
    first.code = end.code;
    first.error = end.error;
    return first;
}

void ask_server(Interview interview, size_t connections, Facts& facts) {
    facts.up[kServer] =
        interview.First(Question::kStatistics, client::ListStatistics, facts.statistics);
    if (!facts.up[kServer]) {
        return;
    }
    interview.Next(Question::kServerVersion, client::GetEngineVersion, facts.versions[kServer]);
    interview.Next(Question::kConnectionSlots, client::GetConnectionSlots, facts.slots);
    ask_about_volumes(interview, facts);
    interview.Next(
        Question::kServerDiagnostics, [] { return client::ListServerCounters(); },
        facts.counters[kServer]);
    interview.Next(Question::kThreads, list_threads, facts.threads);
    if (connections > 0) {
        interview.Next(
            Question::kConnections,
            [&] { return list_connections(connections, &facts.connectionsPassedOver); },
            facts.connections);
    }
}

void ask_storage(Interview interview, Facts& facts) {
    facts.up[kStorage] = interview.First(Question::kStorageVersion, client::GetStorageVersion,
                                         facts.versions[kStorage]);
    if (facts.up[kStorage]) {
        interview.Next(
            Question::kStorageDiagnostics, [] { return client::ListStorageCounters(); },
            facts.counters[kStorage]);
    }
}

void ask_management(Interview interview, Facts& facts) {
    facts.up[kManagement] = interview.First(
        Question::kManagementVersion, client::GetManagementVersion, facts.versions[kManagement]);
}

} // namespace

Facts Inquire(const Limits& limits, Journal& journal) {
    Facts facts;
    const Interview interview(Clock::now() + limits.timeout, journal);
    // Each thread writes parts of its own. The destructors of the futures wait.
    auto storage = std::async(std::launch::async, [&] { ask_storage(interview, facts); });
    auto management = std::async(std::launch::async, [&] { ask_management(interview, facts); });
    ask_server(interview, limits.connections, facts);
    storage.get();
    management.get();
    return facts;
}

} // namespace zrp::exporter
