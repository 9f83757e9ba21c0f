// One row for each command of zrpctl: how the tests call it, and which replies it needs.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zrp {

struct CommandCase {
    const char* command; // as its row in the table is named
    std::vector<std::string> arguments;
    const char* socket = "zrpserv";       // of the daemon that it asks; null if it asks none
    const char* element = nullptr;        // of the reply that faults damage
    bool isPartial = false;               // shows what other daemons said beside a failure
    bool waits = false;                   // any failure is one to wait out
    std::vector<std::string> before = {}; // a command that makes it possible
    bool reportsAll = false;              // any failure is a part of its answer
};

inline const std::vector<CommandCase>& command_cases() {
    static const std::vector<CommandCase> cases = {
        {"help", {"help", "volumes"}, nullptr},
        {"status", {"status"}, "zrpserv", "serverStatistics", true},
        {"versions", {"versions"}, "zrp2bks", "versionTag", true},
        {"statistics", {"statistics"}, "zrpserv", "serverStatistics"},
        {"metrics", {"metrics"}, "zrpserv", "serverStatistics", false, false, {}, true},
        {"volumes", {"volumes"}, "zrpserv", "listVolumes"},
        {"volume", {"volume", "DATA"}, "zrpserv", "volumeInformation"},
        {"connections", {"connections"}, "zrpserv", "listConnections"},
        {"connection", {"connection", "4"}, "zrpserv", "connectionInformationTag"},
        {"files", {"files"}, "zrpserv", "listOpenFilesByConnection"},
        {"locks", {"locks", "DATA:x"}, "zrpserv", "listFileLocksByFile"},
        {"parameters", {"parameters"}, "zrpserv", "set"},
        {"configuration", {"configuration"}, "zrpserv", "serverConfig"},
        {"threads", {"threads"}, "zrpserv", "threads"},
        {"diagnostics server", {"diagnostics", "server", "3"}, "zrpserv", "diagnostics"},
        {"diagnostics storage",
         {"diagnostics", "storage", "13"},
         "zrp2bks",
         "zrp2bksDiagnosticRequest"},
        {"filters", {"filters"}, "zrp2bks", "filter"},
        {"exclusions", {"exclusions"}, "zrp2bks", "exclusion_control"},
        {"mount-point", {"mount-point", "DATA"}, "zrp2bks", "exclusion_control"},
        {"cluster servers", {"cluster", "servers"}, "zrpserv", "listvirtualservers"},
        {"wait server", {"wait", "server"}, "zrpserv", "serverStatistics", false, true},
        {"wait volume",
         {"wait", "volume", "DATA", "mounted"},
         "zrpserv",
         "listVolumes",
         false,
         true},
#include "tests/ctl/act_cases.inc"
    };
    return cases;
}

inline void PrintTo(const CommandCase& one, std::ostream* out) {
    *out << one.command;
}

// In the form of a test's name.
inline std::string test_name(const char* command) {
    std::string name;
    for (const char* at = command; *at != '\0'; at++) {
        name += *at == ' ' || *at == '-' ? '_' : *at;
    }
    return name;
}

} // namespace zrp
