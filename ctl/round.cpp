#include "ctl/round.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <unistd.h>

#include "ctl/failure.h"
#include "ctl/interrupt.h"
#include "ctl/json.h"
#include "ctl/printing.h"
#include "ctl/session.h"
#include "ctl/system_log.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr const char* kClear = "\x1b[H\x1b[2J";

Outcome dry_run_outcome(const DryRun& dry, bool json) {
    Outcome outcome(json);
    outcome.set("request", {{"daemon", dry.daemon}, {"document", dry.document}});
    const std::string text = shown_document(dry.document);
    outcome.add_text(text.ends_with('\n') ? text : text + '\n');
    return outcome;
}

// What the system lacks is a failure like any other, so that an act leaves its line in the log.
Outcome run_act(const Invocation& invocation, Session& session) {
    try {
        return invocation.command->run(session, invocation.arguments);
    } catch (const std::bad_alloc&) {
        throw Failure{Kind::kOutput, "out of memory"};
    } catch (const std::system_error&) {
        throw Failure{Kind::kOutput, "the system gives no thread"};
    }
}

Outcome run_logged(const Invocation& invocation, Session& session) {
    const auto log = [&](const std::optional<Failure>& failure) {
        if (session.has_changed()) {
            log_act(*invocation.command, invocation.arguments, failure);
        }
    };
    try {
        Outcome outcome = run_act(invocation, session);
        log(outcome.failure);
        return outcome;
    } catch (const Failure& failure) {
        log(failure);
        throw;
    }
}

int show(Outcome outcome, const Options& options) {
    const std::optional<Failure> failure = outcome.failure;
    const std::vector<std::string> warnings = outcome.warnings;
    write_output(rendered(std::move(outcome), options));
    for (const std::string& warning : warnings) {
        print_note("zrpctl: " + visible(warning));
    }
    if (failure) {
        report(*failure, false);
    }
    return failure ? exit_status(failure->kind) : kSuccess;
}

// The answer is complete before its first byte is written.
int run_once(const Invocation& invocation, bool clears) {
    const Options& options = invocation.options;
    try {
        Session session(options);
        Outcome outcome(options.json);
        try {
            outcome = run_logged(invocation, session);
        } catch (const DryRun& dry) {
            outcome = dry_run_outcome(dry, options.json);
        }
        write_output(clears ? kClear : "");
        return show(std::move(outcome), options);
    } catch (const Failure& failure) {
        report(failure, options.json);
        return exit_status(failure.kind);
    } catch (const std::bad_alloc&) {
        const Failure failure = {Kind::kOutput, "out of memory"};
        report(failure, options.json);
        return exit_status(failure.kind);
    }
}

// What the next round would only repeat.
bool is_lasting(int status) {
    return status == exit_status(Kind::kUsage) || status == exit_status(Kind::kOutput);
}

} // namespace

int run_command(const Invocation& invocation) {
    const Options& options = invocation.options;
    if (!options.watch) {
        return run_once(invocation, false);
    }
    const bool clears = !options.json && isatty(STDOUT_FILENO) != 0;
    for (;;) {
        const Clock::time_point next = Clock::now() + *options.watch;
        const int status = run_once(invocation, clears);
        if (was_interrupted() || is_lasting(status)) {
            return status;
        }
        try {
            sleep_for(std::chrono::ceil<milliseconds>(next - Clock::now()));
        } catch (const Failure&) {
            return status;
        }
    }
}

} // namespace zrp::ctl
