// Replies about connections, and the commands that they answer.
#pragma once

#include <string>

namespace zrp::connection_fixture {

inline constexpr const char* kList = "listConnections";
inline constexpr const char* kInformation = "connectionInformationTag";

inline std::string element(const std::string& tag, const std::string& text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

// Elements common to the list and the information.
inline std::string common(int station, const std::string& name, const std::string& bytesRead,
                          const std::string& bytesWritten) {
    return element("stationNumberTag", std::to_string(station)) + element("zrpRequests", "3") +
           element("bytesRead", bytesRead) + element("bytesWritten", bytesWritten) +
           element("name", name) + element("loginTime", "in " + name) +
           element("licensedState", "Yes") + element("encrypted", "No") +
           element("mfa", "Disabled");
}

inline std::string entry(int station, const std::string& name,
                         const std::string& bytesRead = "1000",
                         const std::string& bytesWritten = "0x10") {
    return element("connectionTag", common(station, name, bytesRead, bytesWritten));
}

inline std::string user(int station) {
    return "user" + std::to_string(station);
}

// So many entries, with consecutive stations.
inline std::string users(int first, int count) {
    std::string entries;
    for (int station = first; station < first + count; station++) {
        entries += entry(station, user(station));
    }
    return entries;
}

inline std::string page(const std::string& entries) {
    return element("zrpConsoleReply", element(kList, entries));
}

inline std::string information(int station, const std::string& name,
                               const std::string& status = "0x1",
                               const std::string& address = "10.1.0.9") {
    const std::string files = element("openFiles", "<openFilesCount>2</openFilesCount>"
                                                   "<name>SYS:a</name><name>SYS:b</name>");
    const std::string equals = element("securityEquals", "<secEqualsCount>0</secEqualsCount>");
    const std::string own = files + common(station, name, "77", "88") +
                            element("loginEpoch", "1776816000") +
                            element("networkAddress", address) + element("status", status) +
                            element("privileges", "0") + element("authenticationMethod", "1") +
                            element("connectionType", "2") + equals;
    return element("zrpConsoleReply", element(kInformation, element("connectionTag", own)));
}

inline const std::string kRefusal =
    "<zrpConsoleReply><result value=\"-5\"><description>no</description></result>"
    "</zrpConsoleReply>";

} // namespace zrp::connection_fixture
