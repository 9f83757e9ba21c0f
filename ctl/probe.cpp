#include "ctl/probe.h"

#include <exception>
#include <thread>
#include <vector>

#include "common/requests/component_versions.h"

namespace zrp::ctl {
namespace {

void ask_one(const Session& session, const Request& request, Probe& probe,
             std::exception_ptr& thrown) {
    try {
        probe.answer = session.ask(*probe.daemon, request);
    } catch (const Failure& failure) {
        probe.failure = failure;
    } catch (...) {
        thrown = std::current_exception();
    }
}

} // namespace

Probes ask_all(const Session& session, const Request& toServer) {
    const Request toStorage = request(BuildBksVersionRequest);
    const Request toManagement = request(BuildOmwVersionRequest);
    const std::array requests = {&toServer, &toStorage, &toManagement};
    Probes probes = {Probe{&kServer, {}, {}}, Probe{&kStorage, {}, {}},
                     Probe{&kManagement, {}, {}}};
    std::array<std::exception_ptr, kProbeCount> thrown;
    {
        std::vector<std::jthread> threads;
        for (size_t i = 0; i < probes.size(); i++) {
            threads.emplace_back(ask_one, std::cref(session), std::cref(*requests.at(i)),
                                 std::ref(probes.at(i)), std::ref(thrown.at(i)));
        }
    }
    for (size_t i = 0; i < probes.size(); i++) {
        if (thrown.at(i) != nullptr) {
            std::rethrow_exception(thrown.at(i));
        }
        const std::optional<Failure>& failure = probes.at(i).failure;
        if (failure && (failure->kind == Kind::kInterrupted || failure->kind == Kind::kOutput)) {
            throw Failure(*failure);
        }
    }
    return probes;
}

void add_failures(const Probes& probes, Outcome& outcome) {
    for (const Probe& probe : probes) {
        if (probe.failure &&
            (!outcome.failure || is_worse(probe.failure->kind, outcome.failure->kind))) {
            outcome.failure = probe.failure;
        }
    }
    for (const Probe& probe : probes) {
        if (probe.failure && probe.failure->daemon != outcome.failure->daemon) {
            outcome.warnings.push_back(sentence(*probe.failure));
        }
    }
}

} // namespace zrp::ctl
