// For a screen's functions without a terminal and threads: a window in memory, and a daemon that
// gives each answer once.
#pragma once

#include <string>
#include <vector>

#include "common/transport.h"
#include "core/window.h"
#include "tests/support/patterns.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/headless_curses.h"

namespace zrp {

class ScreenTest : public HeadlessCurses {
protected:
    void SetUp() override {
        HeadlessCurses::SetUp();
        IPCServInit(kMainDaemonSocket);
        window = create_newwin(15, 78, 5, 1);
        ASSERT_NE(window, nullptr);
    }

    void TearDown() override {
        destroy_win(window);
        IPCServTerm();
    }

    [[nodiscard]] std::string row(int number) const {
        return row_of(window, number);
    }

    WINDOW* window = nullptr;
};

// During its lifetime no dialog has enough room.
struct NoRoomForWindows {
    NoRoomForWindows() {
        COLS = 1;
    }
    ~NoRoomForWindows() {
        COLS = columns;
    }
    NoRoomForWindows(const NoRoomForWindows&) = delete;
    NoRoomForWindows& operator=(const NoRoomForWindows&) = delete;

    const int columns = COLS;
};

// Whether the trace ends with the dialog's failure to open its window.
inline bool reports_missing_window(const std::string& traced, const std::string& dialog) {
    const std::string pattern = "(^|\n)" + dialog + ": create_newwin\\(\\) failed err=\\d+\n$";
    return !find_matches(traced, pattern).empty();
}

// Answers the requests with these bytes in order, and further ones with the last.
inline std::vector<PeerScript> in_turn(const std::vector<std::string>& answers) {
    std::vector<PeerScript> scripts;
    for (const std::string& bytes : answers) {
        scripts.push_back({read_request(), send_bytes(bytes)});
    }
    return scripts;
}

// A daemon, by default the main one.
struct Answering : ScriptedPeer {
    explicit Answering(const std::vector<std::string>& answers,
                       const char* socketName = kMainDaemonSocket)
        : ScriptedPeer(socketName, in_turn(answers)) {}
};

inline constexpr uint32_t kSomeStatus = 5; // of a reply's header
inline const std::string kStatusReply = reply("", kSomeStatus);
inline const std::string kRefusalReply =
    reply("<zrpConsoleReply><result value=\"-601\"/></zrpConsoleReply>");
inline constexpr int kRefusalCode = -601;

} // namespace zrp
