// The monitor on a main daemon that fills every screen, and the way to each screen and dialog.
#pragma once

#include <memory>
#include <string>

#include "tests/terminal/command_answers.h"
#include "tests/terminal/connection_fixture.h"
#include "tests/terminal/session.h"
#include "tests/terminal/volume_fixture.h"

namespace zrp {

// A screen by its function key, and what distinguishes it from the others.
struct ScreenCase {
    const char* name;
    Key key;
    const char* choice; // typed into its dialog; null without one
    const char* prompt; // of the dialog
    const char* shown;  // on the screen
};

inline constexpr ScreenCase kGeneral = {"General", Key::kF2, nullptr, nullptr, "figure: 1"};
inline constexpr ScreenCase kVolume = {"Volume", Key::kF3, "0\r", "Enter volume number",
                                       "Volume: SYS"};
inline constexpr ScreenCase kConnection = {"Connection", Key::kF4, "2\r", "Enter connection number",
                                           "(2) user2"};
inline constexpr ScreenCase kDiagnostics = {"Diagnostics", Key::kF5, "1\r", "Enter selection",
                                            "ZRP Server Directory Cache"};
inline constexpr ScreenCase kParameters = {"Parameters", Key::kF6, nullptr, nullptr, "LOG_LEVEL"};
inline constexpr ScreenCase kVersion = {"Version", Key::kF7, nullptr, nullptr,
                                        "ZRP Server Components"};

inline constexpr ScreenCase kInOrderOfTab[] = {kGeneral,     kVolume,     kConnection,
                                               kDiagnostics, kParameters, kVersion};

inline constexpr ScreenCase kDialogs[] = {kVolume, kConnection, kDiagnostics};

struct MonitorFixture {
    explicit MonitorFixture(const TerminalOptions& options = monitor())
        : daemon(prepared()), peer(kMainDaemonSocket, {daemon->script()}), terminal(options) {}

    // General is shown and the first pass is over.
    bool begin() {
        return terminal.wait_for(kGeneral.shown);
    }

    bool wait_for_dialog(const ScreenCase& entry) {
        return terminal.wait_for(entry.prompt);
    }

    bool dialog_is_closed(const ScreenCase& entry) const {
        return terminal.screen().find_row(entry.prompt) == -1;
    }

    // The screen is shown, and no dialog over it.
    bool wait_for_screen(const ScreenCase& entry) {
        return terminal.wait_until([&] {
            for (const ScreenCase& dialog : kDialogs) {
                if (!dialog_is_closed(dialog)) {
                    return false;
                }
            }
            return terminal.screen().find_row(entry.shown) != -1;
        });
    }

    bool open_dialog(const ScreenCase& entry) {
        terminal.press(entry.key);
        return wait_for_dialog(entry);
    }

    bool show(const ScreenCase& entry) {
        terminal.press(entry.key);
        if (entry.choice != nullptr) {
            if (!wait_for_dialog(entry)) {
                return false;
            }
            terminal.type(entry.choice);
        }
        return wait_for_screen(entry);
    }

    // Makes the interval ten seconds, and waits for the end of a pass that began with it: the next
    // one comes no earlier than ten seconds later. asked_since() counts the requests from then on.
    // A pass that began between two of the keys waits for less, and within the patience.
    bool slow_down() {
        bool done = terminal.wait_for_rest(); // the end of the pass under way
        terminal.type(std::string(9, '+'));
        done = done && terminal.wait_for_rest(); // the keys are read
        const size_t before = strips();
        done = done && terminal.wait_until([&] { return strips() > before; }) &&
               terminal.wait_for_rest(); // the end of that pass
        asked_ = peer.connections();
        return done;
    }

    [[nodiscard]] size_t asked_since() const {
        return peer.connections() - asked_;
    }

    [[nodiscard]] size_t strips() const {
        return daemon->requests("serverStatistics").size();
    }

    static std::unique_ptr<CommandAnswers> prepared() {
        namespace connections = connection_fixture;
        auto answers = std::make_unique<CommandAnswers>();
        answers->answer("serverStatistics", {statistics(parm("figure", "1") + up_time("9"))});
        answers->answer("listVolumes", {volume_list(listed(0, "SYS") + listed(2, "DATA"))});
        answers->answer("volumeInformation", {volume_information({})});
        answers->answer(connections::kList, {connections::page(connections::users(1, 3))});
        answers->answer(connections::kInformation, {connections::information(2, "user2")});
        answers->answer("diagnostics", {"<zrpConsoleReply/>"});
        // Both the list of one setting and the value of that setting.
        answers->answer("set", {"<zrpConsoleReply><set><name>LOG_LEVEL</name><string>INFO</string>"
                                "</set></zrpConsoleReply>"});
        return answers;
    }

    std::unique_ptr<CommandAnswers> daemon; // before its peer, which uses it
    ScriptedPeer peer;
    Terminal terminal;

private:
    size_t asked_ = 0;
};

} // namespace zrp
