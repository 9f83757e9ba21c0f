#include "ctl/system_log.h"

#include <pwd.h>
#include <string>
#include <syslog.h>
#include <unistd.h>

#include "ctl/text.h"

namespace zrp::ctl {
namespace {

std::string user_name() {
    const uid_t user = getuid();
    const passwd* entry = getpwuid(user);
    const std::string number = "uid " + std::to_string(user);
    return entry == nullptr ? number : std::string(entry->pw_name) + " (" + number + ")";
}

std::string quoted(const std::string& value) {
    const bool isWord = !value.empty() && value.find_first_of(" \t\r\n\"") == std::string::npos;
    return isWord ? value : '"' + value + '"';
}

std::string line_of(const Command& command, const Arguments& arguments) {
    std::string line = command.name;
    for (const Argument& argument : command.arguments) {
        const std::string option = is_option(argument) ? argument.name : "";
        if (argument.kind == ArgumentKind::kFlag && arguments.has(argument.name)) {
            line += ' ' + option;
        }
        for (const std::string& value : arguments.list(argument.name)) {
            line += (option.empty() ? "" : ' ' + option) + ' ' + quoted(value);
        }
    }
    return line;
}

} // namespace

void log_act(const Command& command, const Arguments& arguments,
             const std::optional<Failure>& failure) {
    const std::string line = user_name() + ": " + line_of(command, arguments) + ": " +
                             (failure ? sentence(*failure) : "done");
    openlog("zrpctl", LOG_PID, LOG_DAEMON);
    syslog(failure ? LOG_WARNING : LOG_NOTICE, "%s", visible(line).c_str());
    closelog();
}

} // namespace zrp::ctl
