// The command line: options, command and arguments, checked before anything is asked.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "ctl/command.h"
#include "ctl/session.h"

namespace zrp::ctl {

struct Invocation {
    enum class Action : uint8_t { kRun, kHelp, kVersion };
    Action action = Action::kRun;
    Options options;
    const Command* command = nullptr; // null for general help
    Arguments arguments;
};

// Whether a failure of the line itself is to be shown as JSON.
bool wants_json(std::span<const char* const> line);

// The line without the program's name. Throws a Failure of kind kUsage.
Invocation read_command_line(std::span<const char* const> line);

} // namespace zrp::ctl
