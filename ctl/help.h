// The texts of --help and "help COMMAND", made from the tables.
#pragma once

#include <string>

#include "ctl/command.h"

namespace zrp::ctl {

std::string general_help();
std::string command_help(const Command& command);

// "zrpctl mount NAME... [--number N]"
std::string synopsis(const Command& command);

} // namespace zrp::ctl
