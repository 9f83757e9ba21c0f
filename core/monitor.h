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

// Written by the main thread; the comments name what the refresh thread writes. Fields that both
// threads use are atomic. The others are set before the refresh thread starts.
struct MonitorState {
    std::atomic<int> currentScreen{kStartScreen};
    std::atomic<int> refreshInterval{kMinRefreshSeconds}; // seconds between two passes
    std::atomic<int> currentWaitSeconds{0};               // of the latest wait; refresh thread

    FILE* traceFile = nullptr; // "zrptop.log", or null
    int traceEnabled = 0;      // 1 while the trace file is open

    int screenLines = 0; // size of the terminal, read once
    int screenCols = 0;

    WINDOW* upTimeWindow = nullptr;
    WINDOW* mainWindow = nullptr;

    std::atomic<pthread_t> refreshThread{0}; // 0: none; the thread clears it when it ends
    pthread_mutex_t refreshMutex{};          // held around the timed wait only
    pthread_cond_t refreshCond{};            // signalled only once the terminal is gone
    std::atomic<int> refreshBusy{0};         // 1 during a pass; refresh thread
    std::atomic<int> refreshFirstDraw{0}; // 1: the next pass draws the labels first and clears it
    std::atomic<int> refreshPaused{0};    // 1 while the main thread owns the main window
    std::atomic<int> refreshStop{0};      // 1: the thread is to end and clears it as its last act
};

extern MonitorState monitorState;

// Opens the debug trace "zrptop.log" in the working directory and truncates it. Closes a trace that
// is open already. If the file cannot be opened, or is anything but an ordinary file with one name,
// the program runs without a trace.
void open_trace();

// Closes the trace if it is open.
void close_trace();

// Writes an event to the debug trace and flushes it. Does nothing without a trace.
[[gnu::format(printf, 1, 2)]] void trace(const char* format, ...);

} // namespace zrp
