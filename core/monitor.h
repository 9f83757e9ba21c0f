// The monitor's process-wide state and its debug trace.
#pragma once

#include <atomic>
#include <cstdio>
#include <pthread.h>

#include <ncurses.h>

namespace zrp {

// The screen shown at the start. A screen is identified by the ncurses code of its function key.
inline constexpr int kStartScreen = KEY_F(2);

inline constexpr int kMinRefreshSeconds = 1;
inline constexpr int kMaxRefreshSeconds = 60;

// Written by the main thread and, where the comment says so, by the refresh thread. Fields that
// both touch are atomic; the others are set before the refresh thread starts.
struct MonitorState {
    std::atomic<int> currentScreen{kStartScreen};
    std::atomic<int> refreshInterval{kMinRefreshSeconds}; // seconds between two passes
    std::atomic<int> intervalUnderWay{0};                 // of the latest wait, which keeps it

    FILE* traceFile = nullptr; // "zrptop.log", or null
    int traceEnabled = 0;      // 1 when the trace file is open

    int screenLines = 0; // terminal size, read once
    int screenCols = 0;

    WINDOW* upTimeWindow = nullptr;
    WINDOW* mainWindow = nullptr;

    std::atomic<pthread_t> refreshThread{0}; // 0: none; cleared by the thread when it ends
    pthread_mutex_t refreshMutex{};          // held around the timed wait only
    pthread_cond_t refreshCond{};            // never signalled
    std::atomic<int> refreshBusy{0};         // 1 while the thread is in a pass
    std::atomic<int> refreshFirstDraw{0};    // 1 when the next pass draws the labels first
    std::atomic<int> refreshPaused{0};       // 1 while the main thread owns the main window
    std::atomic<int> refreshStop{0};         // asks the thread to end; cleared as its last act
};

extern MonitorState monitorState;

// Opens the debug trace "zrptop.log" in the working directory, emptied. Without it the program goes
// on silently; one that is open already is closed first.
void open_trace();

// Closes the trace, if there is one.
void close_trace();

// Writes one event to the debug trace and flushes it; does nothing without a trace.
[[gnu::format(printf, 1, 2)]] void trace(const char* format, ...);

} // namespace zrp
