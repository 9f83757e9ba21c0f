// What the monitor asks and shows on a screen, recorded for the floor.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/floor_plan.h"
#include "tools/harness/keys.h"
#include "tools/harness/terminal_screen.h"

namespace zrp::bench {

// A screen of the monitor, or a dialog over the General screen.
struct Scene {
    const char* name;
    harness::Key key;
    std::string_view typed; // into its dialog
    std::string_view shown; // once it is there
    char mark;              // values follow it in their rows; 0: whole rows are values
    int dialogHeight;       // 0 for a screen
    // Adds the requests that follow that of the strip. `rows` are those of a terminal high enough
    // for all that the screen shows.
    void (*ask)(Plan& plan, const std::vector<std::string>& rows);
};

// Windows, labels, requests and cursor.
Plan plan_of(const Scene& scene, const harness::TerminalScreen& screen,
             const std::vector<std::string>& rows);

// The values that the screen shows after a pass.
void record_values(const Scene& scene, const harness::TerminalScreen& screen, int pass, Plan& plan);

extern const std::vector<Scene> kScenes;

} // namespace zrp::bench
