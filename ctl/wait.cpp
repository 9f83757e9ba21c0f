// Waiting until something is so.
#include <algorithm>
#include <strings.h>

#include "common/exchange_limits.h"
#include "common/requests/server_statistics.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/interrupt.h"
#include "ctl/outcome.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

constexpr milliseconds kInterval{100};

// A daemon that is just starting may accept and never answer; a slow one still has its time.
constexpr milliseconds kShortestAttempt{1000};

int32_t attempt_time(const Session& session) {
    return static_cast<int32_t>(std::max(kShortestAttempt, session.left() / 2).count());
}

bool is_final(Kind kind) {
    return kind == Kind::kUsage || kind == Kind::kOutput || kind == Kind::kInterrupted;
}

// Whether it is so now; why not is kept for the last word.
template <typename Check>
bool attempt(const Session& session, Check check, std::string& reason) {
    try {
        const ExchangeLimitsGuard limits({.exchangeMs = attempt_time(session)});
        reason.clear();
        return check(session);
    } catch (const Failure& failure) {
        if (is_final(failure.kind)) {
            throw;
        }
        reason = sentence(failure);
        return false;
    }
}

template <typename Check>
Outcome wait_until(const Session& session, const std::string& what, Check check) {
    std::string reason;
    while (!attempt(session, check, reason)) {
        if (session.left() <= kInterval) {
            throw Failure{Kind::kTimeout,
                          "not so in time: " + what + (reason.empty() ? "" : "; " + reason)};
        }
        sleep_for(kInterval);
    }
    Outcome outcome(session.options().json);
    outcome.set("done", true);
    outcome.add_text(what + '\n');
    return outcome;
}

bool answers(const Session& session) {
    const Answer answer =
        session.ask(kServer, request([](uint32_t* length) {
                        return BuildServerStatisticsRequest(kServerStatisticsVersion, length);
                    }));
    return static_cast<bool>(command_of(answer, kServer, tag::serverStatistics));
}

Outcome wait_server(Session& session, const Arguments&) {
    return wait_until(session, "the server answers", answers);
}

constexpr const char* kMountedState = "mounted";
constexpr const char* kGoneState = "gone";
constexpr const char* kWaitStates[] = {kMountedState, kGoneState};

Outcome wait_volume(Session& session, const Arguments& arguments) {
    const std::string& name = arguments.text("NAME");
    const bool wanted = strcasecmp(arguments.text("STATE").c_str(), kMountedState) == 0;
    return wait_until(
        session, "volume " + name + " is " + (wanted ? kMountedState : kGoneState),
        [&](const Session& asking) { return is_volume_mounted(asking, name) == wanted; });
}

constexpr const char* kWaitGroup = "Waiting";

constexpr Argument kWaitVolumeArguments[] = {
    {"NAME", ArgumentKind::kVolume, Count::kOne, "the volume"},
    {"STATE", ArgumentKind::kWord, Count::kOne,
     "what to wait for; gone is a volume that is dismounted or not there", kWaitStates},
};

constexpr Command kWaitCommands[] = {
    {"wait server",
     kWaitGroup,
     "Wait until the server answers",
     Effect::kReadOnly,
     {},
     "zrpctl wait server --timeout 30",
     wait_server},
    {"wait volume", kWaitGroup, "Wait until a volume is mounted or gone", Effect::kReadOnly,
     kWaitVolumeArguments, "zrpctl wait volume DATA mounted", wait_volume},
};

} // namespace

std::span<const Command> wait_commands() {
    return kWaitCommands;
}

} // namespace zrp::ctl
