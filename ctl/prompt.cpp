#include "ctl/prompt.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include "ctl/failure.h"
#include "ctl/interrupt.h"
#include "ctl/printing.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr const char* kYesWords[] = {"y", "yes"};

// A line of a terminal; what was typed before the end of the input, without one.
std::string read_line() {
    std::string line;
    char character = 0;
    while (!was_interrupted()) {
        // An interrupt just before the wait goes unnoticed for no longer.
        constexpr int kSliceMs = 50;
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, kSliceMs) <= 0) {
            continue;
        }
        const ssize_t count = read(STDIN_FILENO, &character, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || character == '\n') {
            return line;
        }
        line += character;
    }
    throw Failure{Kind::kInterrupted, "interrupted"};
}

bool is_yes(const std::string& answer) {
    return std::any_of(std::begin(kYesWords), std::end(kYesWords),
                       [&](const char* yes) { return strcasecmp(yes, answer.c_str()) == 0; });
}

} // namespace

void confirm(Session& session, const Question& question) {
    if (session.options().yes || session.options().dryRun) {
        return;
    }
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        throw Failure{Kind::kUsage, "nobody can be asked without a terminal: --yes is needed"};
    }
    print_question(visible(question()) + "? [y/N] ");
    const Clock::time_point start = Clock::now();
    const std::string answer = read_line();
    session.give_back(Clock::now() - start);
    if (!is_yes(answer)) {
        throw Failure{Kind::kUsage, "not confirmed; nothing was sent"};
    }
}

} // namespace zrp::ctl
