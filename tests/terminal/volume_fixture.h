// Positions of the Volume screen and its dialog on the terminal, and the monitor on a daemon that
// has only volumes.
#pragma once

#include <string>

#include "tests/support/volume_replies.h"
#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"

namespace zrp::volume_fixture {

// Terminal rows and columns: the windows begin at row 5, column 1.
inline constexpr int kDialogTop = 5;
inline constexpr int kDialogBottom = 17;
inline constexpr int kFirstListRow = 6;
inline constexpr int kListColumns[] = {2, 26, 51};
inline constexpr int kPromptRow = 14;
inline constexpr int kPromptColumn = 2;
inline constexpr int kInputColumn = 57;
inline constexpr const char* kVolumePrompt =
    "Enter volume number [ q (quit) +(next page) - (top)] ? ";

inline constexpr int kTitleRow = 6;
inline constexpr int kTitleColumn = 6;
inline constexpr int kValueColumn = 30;
inline constexpr int kStatusRow = 7;
inline constexpr int kMountPointRow = 8;
inline constexpr int kShadowRow = 9;
inline constexpr int kCapacityRow = 10;
inline constexpr int kFilesRow = 11;
inline constexpr int kFoldersRow = 12;
inline constexpr int kTrusteesRow = 13;

// The monitor on a daemon that has only volumes.
struct VolumeFixture {
    explicit VolumeFixture(const std::vector<std::string>& lists, int rows = 25, int columns = 80,
                           const std::vector<std::string>& arguments = {})
        : VolumeFixture(lists, monitor(rows, columns, arguments)) {}

    VolumeFixture(const std::vector<std::string>& lists, const TerminalOptions& options)
        : daemon(prepared(lists)), peer(kMainDaemonSocket, {daemon->script()}), terminal(options) {}

    // The dialog is open and waits for input.
    bool open_dialog() {
        if (!wait_for_windows(terminal)) {
            return false;
        }
        terminal.press(Key::kF3);
        return terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt);
    }

    // Chooses a volume, whose information is this.
    bool choose(const std::string& number, const VolumeFacts& facts) {
        daemon->answer("volumeInformation", {volume_information(facts)});
        if (!open_dialog()) {
            return false;
        }
        terminal.type(number + "\r");
        return terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: ");
    }

    // Waits until a pass of the Volume screen that began after the call is over: the next one
    // begins with the strip's request.
    bool wait_for_whole_pass() {
        const auto strips = [&] { return daemon->requests("serverStatistics").size(); };
        const size_t before = strips();
        return terminal.wait_until([&] { return strips() >= before + 2; });
    }

    static std::unique_ptr<CommandAnswers> prepared(const std::vector<std::string>& lists) {
        auto answers = std::make_unique<CommandAnswers>();
        answers->answer("serverStatistics", {statistics(parm("figure", "1"))});
        answers->answer("listVolumes", lists);
        return answers;
    }

    std::unique_ptr<CommandAnswers> daemon; // before its peer, which uses it
    ScriptedPeer peer;
    Terminal terminal;
};

} // namespace zrp::volume_fixture
