// What the tests of the Connection screen and of its dialog have in common: the documents of a
// daemon with connections, and where things stand on the terminal.
#pragma once

#include <string>

#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"

namespace zrp::connection_world {

inline constexpr const char* kList = "listConnections";
inline constexpr const char* kInformation = "connectionInformationTag";

inline constexpr const char* kPrompt =
    "Enter connection number [ q (quit) + (next page) - (top)] ? ";
inline constexpr int kPromptRow = 17;
inline constexpr int kPromptColumn = 2;
inline constexpr int kDialogBottom = 19;
inline constexpr int kListRow = 6;
inline constexpr int kListColumnOfPage = 4;

inline constexpr int kTitleRow = 6;
inline constexpr int kTitleColumn = 6;
inline constexpr int kTitleValueColumn = 19;
inline constexpr int kLabelColumn = 9;
inline constexpr int kValueColumn = 27;

inline std::string element(const std::string& tag, const std::string& text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

// What a list and the information have in common.
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

// Entries of so many users from a station on.
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

// The monitor with the dialog open over General.
struct Dialog {
    explicit Dialog(CommandAnswers& daemon, const TerminalOptions& options = monitor())
        : peer(kMainDaemonSocket, {daemon.script()}), terminal(options) {}

    // False when the prompt does not come.
    bool open() {
        if (!wait_for_windows(terminal)) {
            return false;
        }
        terminal.press(Key::kF4);
        return wait_for_prompt();
    }

    bool wait_for_prompt() {
        return terminal.wait_for_text(kPromptRow, kPromptColumn,
                                      std::string(kPrompt).substr(0, 30));
    }

    bool wait_until_closed() {
        return terminal.wait_until(
            [&] { return terminal.eye().find_row("Enter connection number") == -1; });
    }

    void answer(const std::string& line) {
        terminal.type(line);
        terminal.press(Key::kEnter);
    }

    bool shows_title(const std::string& title) {
        return terminal.wait_for_text(kTitleRow, kTitleValueColumn, title);
    }

    ScriptedPeer peer;
    Terminal terminal;
};

// What stands inside the frame at a row.
inline std::string inside(const Terminal& terminal, int row) {
    const std::string all = terminal.eye().text_at(row, 2, terminal.eye().columns() - 4);
    const size_t last = all.find_last_not_of(' ');
    return last == std::string::npos ? "" : all.substr(0, last + 1);
}

// The child elements of the n-th request for a page.
inline std::string page_request(const CommandAnswers& daemon, size_t index) {
    const std::vector<std::string> requests = daemon.requests(kList);
    if (index >= requests.size()) {
        return "none";
    }
    const std::string& text = requests[index];
    const size_t start = text.find('\n') + 1;
    return text.substr(start, text.rfind('\n') - start);
}

} // namespace zrp::connection_world
