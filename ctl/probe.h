// The three daemons, asked at once.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "ctl/failure.h"
#include "ctl/outcome.h"
#include "ctl/session.h"

namespace zrp::ctl {

inline constexpr size_t kProbeCount = 3;

struct Probe {
    const Daemon* daemon = nullptr;
    std::optional<Answer> answer;
    std::optional<Failure> failure; // if there is no answer
};
using Probes = std::array<Probe, kProbeCount>;

// The main daemon gets the request, the other two are asked for their versions. Throws the Failure
// of an interrupt alone.
Probes ask_all(const Session& session, const Request& toServer);

// Adds the worst failure to the outcome, and a warning for each of the others.
void add_failures(const Probes& probes, Outcome& outcome);

} // namespace zrp::ctl
