// Replies about volumes, and where the Volume screen and its dialog stand on the terminal.
#pragma once

#include <string>

#include "tests/terminal/command_answers.h"
#include "tests/terminal/session.h"

namespace zrp {

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

inline std::string element(const std::string& tag, const std::string& content) {
    return "<" + tag + ">" + content + "</" + tag + ">";
}

inline std::string listed(int number, const std::string& name, const std::string& status = "0x3") {
    return element("volume", element("name", name) + element("status", status) +
                                 element("volumeNumber", std::to_string(number)));
}

// So many mounted volumes V0, V1, ... whose numbers are apart by a step.
inline std::string listed_volumes(int count, int step = 1) {
    std::string all;
    for (int i = 0; i < count; i++) {
        all += listed(i * step, "V" + std::to_string(i * step));
    }
    return all;
}

// A page of the list; the index of the next page, if given, is its startIndex.
inline std::string volume_list(const std::string& volumes, const std::string& next = "") {
    return element(
        "zrpConsoleReply",
        element("listVolumes", (next.empty() ? "" : element("startIndex", next)) + volumes));
}

inline std::string server_error(int code) {
    return "<zrpConsoleReply><result value=\"" + std::to_string(code) +
           "\"><description>refused</description></result></zrpConsoleReply>";
}

struct VolumeFacts {
    int version = 5;
    std::string name = "SYS";
    std::string status = "0x3";
    std::string mountPoint = "<mountPoint>/mnt/sys</mountPoint>"; // the whole element, or nothing
    std::string shadow = "";                                      // the same
    std::string clusters = "2048";                                // of 8 sectors of 512 bytes
    std::string files = "111";
    std::string folders = "222";
    std::string trustees = "333";
};

inline std::string volume_information(const VolumeFacts& facts) {
    std::string all =
        element("versionTag", std::to_string(facts.version)) + element("name", facts.name) +
        element("status", facts.status) + element("sectorSize", "512") +
        element("sectorPerCluster", "8") + element("clustersPerVolume", facts.clusters) +
        element("dcCacheFiles", facts.files) + element("dcCachedSubdirs", facts.folders) +
        element("dcTrusteeCount", facts.trustees) + facts.mountPoint + facts.shadow;
    for (const char* tag : {"volumeNumber",
                            "volumeType",
                            "statusFlags",
                            "freeClusters",
                            "purgeableBlocks",
                            "notYetPurgeableBlocks",
                            "directoryEntries",
                            "unusedDirectoryEntries",
                            "lastModifiedDateAndTime",
                            "dcGetEntryCount",
                            "dcLockEntryCount",
                            "dcEvictedFiles",
                            "dcEvictedSubdirs",
                            "dcNormalOpenCount",
                            "dcLazyOpenCount",
                            "dcLazyCloseCount",
                            "dcBackgroundCloseCount",
                            "dcSecurityNodeCount",
                            "dcOverflowEntriesFound",
                            "enforcedFlag",
                            "connectionCount",
                            "mountPointType",
                            "shadowFlags"}) {
        all += element(tag, "0");
    }
    return element("zrpConsoleReply", element("volumeInformation", element("volume", all)));
}

// The monitor on a daemon that has only volumes.
struct VolumeStage {
    explicit VolumeStage(const std::vector<std::string>& lists, int rows = 25, int columns = 80,
                         const std::vector<std::string>& arguments = {})
        : VolumeStage(lists, monitor(rows, columns, arguments)) {}

    VolumeStage(const std::vector<std::string>& lists, const TerminalOptions& options)
        : daemon(prepared(lists)), peer(kMainDaemonSocket, {daemon->script()}), terminal(options) {}

    // The dialog stands and waits for input.
    bool open_dialog() {
        if (!wait_for_windows(terminal)) {
            return false;
        }
        terminal.press(Key::kF3);
        return terminal.wait_for_text(kPromptRow, kPromptColumn, kVolumePrompt);
    }

    // The screen of a volume with those facts.
    bool choose(const std::string& number, const VolumeFacts& facts) {
        daemon->answer("volumeInformation", {volume_information(facts)});
        if (!open_dialog()) {
            return false;
        }
        terminal.type(number + "\r");
        return terminal.wait_for_text(kTitleRow, kTitleColumn, "Volume: ");
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

} // namespace zrp
