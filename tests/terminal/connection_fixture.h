// Common to the tests of the Connection screen and its dialog: positions on the terminal, and the
// monitor with the dialog open.
#pragma once

#include <string>

#include "tests/support/connection_replies.h"
#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"

namespace zrp::connection_fixture {

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

// The monitor with the dialog open over General.
struct Dialog {
    explicit Dialog(CommandAnswers& daemon, const TerminalOptions& options = monitor())
        : Dialog(daemon.script(), options) {}
    explicit Dialog(const PeerScript& script, const TerminalOptions& options = monitor())
        : peer(kMainDaemonSocket, {script}), terminal(options) {}

    // False if the prompt does not appear.
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
            [&] { return terminal.screen().find_row("Enter connection number") == -1; });
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

// A row inside the frame, without trailing blanks.
inline std::string inside(const Terminal& terminal, int row) {
    const std::string all = terminal.screen().text_at(row, 2, terminal.screen().columns() - 4);
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

} // namespace zrp::connection_fixture
