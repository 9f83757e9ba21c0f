// Common to the tests of the Diagnostics screen: both daemons, and the way through the dialog.
#pragma once

#include <string>

#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"

namespace zrp::diagnostics_fixture {

inline constexpr int kTop = kMainTop;   // terminal row of the main window's line 0
inline constexpr int kLeft = 1;         // terminal column of its column 0
inline constexpr int kLabelColumn = 2;  // of the terminal
inline constexpr int kValueColumn = 40; // of the terminal
inline constexpr int kPromptRow = kTop + 11;
inline constexpr const char* kPrompt = "Enter selection ? ";

inline constexpr const char* kServerCommand = "diagnostics";
inline constexpr const char* kBksCommand = "zrp2bksDiagnosticRequest";

inline std::string server_value(const std::string& name, const std::string& value) {
    return "<diagValue value=\"" + value + "\">" + name + "</diagValue>";
}

inline std::string bks_value(const std::string& name, const std::string& value) {
    return "<zrp2bksValue value=\"" + value + "\">" + name + "</zrp2bksValue>";
}

inline std::string server_reply(const std::string& values) {
    return "<zrpConsoleReply><diagnostics><diagLevel>1</diagLevel>" + values +
           "</diagnostics></zrpConsoleReply>";
}

inline std::string bks_reply(const std::string& values) {
    return "<zrp2bksDiagnosticReply><level>1</level>" + values + "</zrp2bksDiagnosticReply>";
}

// Both daemons, each with one counter in its reply.
class Daemons {
public:
    Daemons() {
        main.answer("serverStatistics", {statistics(up_time("5"))});
        main.answer(kServerCommand, {server_reply(server_value("openFiles", "17"))});
        storage.answer(kBksCommand, {bks_reply(bks_value("Request", "23"))});
    }

    [[nodiscard]] size_t asked_main() const {
        return main.requests(kServerCommand).size();
    }
    [[nodiscard]] size_t asked_statistics() const {
        return main.requests("serverStatistics").size();
    }
    [[nodiscard]] size_t asked_storage() const {
        return storage.requests(kBksCommand).size();
    }

    CommandAnswers main;
    CommandAnswers storage;

private:
    ScriptedPeer mainPeer{kMainDaemonSocket, {main.script()}};
    ScriptedPeer storagePeer{kStorageDaemonSocket, {storage.script()}};
};

inline bool open_dialog(Terminal& terminal) {
    terminal.press(Key::kF5);
    return terminal.wait_for_text(kPromptRow, kLabelColumn, kPrompt);
}

inline bool dialog_is_open(const Terminal& terminal) {
    return terminal.screen().text_at(kPromptRow, kLabelColumn, 15) == "Enter selection";
}

inline bool choose(Terminal& terminal, const std::string& text) {
    if (!open_dialog(terminal)) {
        return false;
    }
    terminal.type(text + "\r");
    return terminal.wait_until([&] { return !dialog_is_open(terminal); });
}

inline std::string inside(const Terminal& terminal, int line) {
    return terminal.screen().text_at(kTop + line, kLeft + 1, 76);
}

inline bool shows_box_only(const Terminal& terminal) {
    for (int line = 1; line <= 13; line++) {
        if (inside(terminal, line) != std::string(76, ' ')) {
            return false;
        }
    }
    return terminal.cell(kTop, kLeft).text == kTopLeft &&
           terminal.cell(kTop + 14, 78).text == kBottomRight;
}

inline std::string value_at(const Terminal& terminal, int line, int count = 6) {
    return terminal.screen().text_at(kTop + line, kValueColumn, count);
}

inline bool wait_for_value(Terminal& terminal, int line, const std::string& value) {
    return terminal.wait_for_text(kTop + line, kValueColumn, value);
}

// The monitor on both daemons. If a test leaves the program running, F12 ends it.
class DiagnosticsTest : public testing::Test {
protected:
    void SetUp() override {
        ZRP_NEEDS_ROOT();
        ASSERT_TRUE(wait_for_windows(terminal));
    }

    void TearDown() override {
        if (terminal.is_open()) {
            expect_clean_end(terminal);
        }
    }

    // Waits until a pass that began after the call is over: the next one begins with a request for
    // statistics, as does the update of General.
    bool wait_for_whole_pass() {
        const size_t before = daemons.asked_statistics();
        return terminal.wait_until([&] { return daemons.asked_statistics() >= before + 3; });
    }

    // Shows a figure on General, which distinguishes it from the other screens.
    bool show_figure() {
        daemons.main.answer("serverStatistics", {statistics(parm("figure", "111"))});
        return terminal.wait_for("figure: 111");
    }

    Daemons daemons;
    Terminal terminal{monitor()};
};

} // namespace zrp::diagnostics_fixture
