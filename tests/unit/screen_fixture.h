// A screen's functions without a terminal and without threads: a window in memory, and a daemon
// that plays each answer once.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "common/transport.h"
#include "core/window.h"
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

// No dialog finds room while it lives.
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
inline bool tells_of_no_window(const std::string& traced, const std::string& dialog) {
    return std::regex_search(
        traced, std::regex("(^|\n)" + dialog + ": create_newwin\\(\\) failed err=\\d+\n$"));
}

// Answers the first request with the first bytes, and so on; the last bytes stay.
inline std::vector<PeerScript> in_turn(const std::vector<std::string>& answers) {
    std::vector<PeerScript> scripts;
    for (const std::string& bytes : answers) {
        scripts.push_back({read_request(), send_bytes(bytes)});
    }
    return scripts;
}

// The main daemon.
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
