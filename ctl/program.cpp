#include "ctl/program.h"

#include <cstring>
#include <new>

#include "ctl/arguments.h"
#include "ctl/completion.h"
#include "ctl/failure.h"
#include "ctl/help.h"
#include "ctl/interrupt.h"
#include "ctl/printing.h"
#include "ctl/round.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

// Before a line to complete; for the scripts of the shells only.
constexpr const char* kComplete = "--complete";

} // namespace

void prepare_process() {
    let_a_closed_pipe_end_it();
    reserve_streams();
    prepare_widths();
}

int run_program(std::span<const char* const> line) {
    try {
        if (!line.empty() && std::strcmp(line.front(), kComplete) == 0) {
            write_output(completions(line.subspan(1)));
            return kSuccess;
        }
        const Invocation invocation = read_command_line(line);
        switch (invocation.action) {
        case Invocation::Action::kHelp:
            write_output(invocation.command == nullptr ? general_help()
                                                       : command_help(*invocation.command));
            return kSuccess;
        case Invocation::Action::kVersion:
            write_output("zrpctl " ZRP_VERSION "\n");
            return kSuccess;
        case Invocation::Action::kRun:
            break;
        }
        install_handlers(invocation.options.watch.has_value());
        return run_command(invocation);
    } catch (const Failure& failure) {
        report(failure, wants_json(line));
        return exit_status(failure.kind);
    } catch (const std::bad_alloc&) {
        report({Kind::kOutput, "out of memory"}, wants_json(line));
        return exit_status(Kind::kOutput);
    }
}

} // namespace zrp::ctl
