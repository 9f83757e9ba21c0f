// What the floor (floor.cpp) does on a screen: screens.cpp records it from the monitor and the
// floor reads it from a file, so that it need not link anything to build a request.
#pragma once

#include <cstdint>

namespace zrp::bench {

struct PlanText {
    short window;
    short row;
    short column;
    char text[96];
};

struct PlanWindow {
    short height;
    short row;
};

struct PlanRequest {
    char socket[32];
    uint32_t number;
    uint32_t length;
    char text[384];
};

inline constexpr int kMaxScreens = 12;
inline constexpr int kPeriodMs = 1000;
inline constexpr int kTerminalRows = 26;
inline constexpr int kTerminalColumns = 80;

// Window 0 is the terminal itself, the others are boxed.
struct Plan {
    int windowCount;
    PlanWindow windows[4];
    int labelCount;
    PlanText labels[48];
    int requestCount;
    PlanRequest requests[24];
    int fileCount;
    char files[4][48];
    int screenCount; // one for each pass that was recorded
    int valueCount[kMaxScreens];
    PlanText values[kMaxScreens][24];
    int cursorWindow; // -1 while the cursor is hidden
    int cursorRow;
    int cursorColumn;
};

} // namespace zrp::bench
