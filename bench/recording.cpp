#include "bench/recording.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "common/engine/query.h"
#include "common/requests/component_versions.h"
#include "common/requests/connections.h"
#include "common/requests/diagnostics.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/volume_information.h"
#include "core/layout.h"

namespace zrp::bench {
namespace {

using harness::Key;
using harness::TerminalScreen;

constexpr int kMainHeight = kTerminalRows - kMainRow - kRowsBelowMainWindow;
constexpr int kInside = kWindowColumn + 1; // beside the frame
constexpr int kColumnsInside = kTerminalColumns - 2 * kInside;

enum Window : short { kTerminal, kStrip, kMain, kDialog };

// Requests.

constexpr int kStation = 3;

template <typename Build>
void ask(Plan& plan, const Peer& peer, Build build) {
    PlanRequest& request = plan.requests[plan.requestCount++];
    const HeapText text(build(&request.length));
    snprintf(request.socket, sizeof request.socket, "%s", peer.socketName);
    request.number = peer.requestNumber;
    if (request.length > sizeof request.text) {
        throw std::runtime_error("a request is too long for the plan");
    }
    memcpy(request.text, text.get(), request.length);
}

using Rows = std::vector<std::string>;

void ask_statistics(Plan& plan, const Rows& /*rows*/) {
    ask(plan, kMainDaemon, [](uint32_t* length) {
        return BuildServerStatisticsRequest(kServerStatisticsVersion, length);
    });
}

void ask_nothing(Plan& /*plan*/, const Rows& /*rows*/) {}

void ask_volume(Plan& plan, const Rows& rows) {
    const std::string& title = rows.at(0);
    const std::string name = title.substr(title.find(": ") + 2);
    ask(plan, kMainDaemon, [&](uint32_t* length) {
        return BuildVolumeInformationRequest(name.c_str(), length, kVolumeInformationVersion);
    });
}

void ask_connection(Plan& plan, const Rows& /*rows*/) {
    ask(plan, kMainDaemon, [](uint32_t* length) {
        return BuildConnectionInformationRequest(kStation, kConnectionInformationVersion, length);
    });
    ask(plan, kMainDaemon,
        [](uint32_t* length) { return BuildListConnectionsRequest(kStation, 1, length); });
}

void ask_diagnostics(Plan& plan, const Rows& /*rows*/) {
    ask(plan, kMainDaemon,
        [](uint32_t* length) { return BuildDiagnosticsRequest(length, kDiagnosticsLevel, 0); });
}

void ask_parameters(Plan& plan, const Rows& rows) {
    for (const std::string& row : rows) {
        const std::string name = row.substr(0, row.find(" ="));
        if (name.size() < row.size()) {
            ask(plan, kMainDaemon, [&](uint32_t* length) {
                return BuildSetRequest(length, kSetVersion, kSetAttributes, name.c_str(), nullptr);
            });
        }
    }
}

void ask_versions(Plan& plan, const Rows& /*rows*/) {
    ask(plan, kMainDaemon, BuildServerVersionRequest);
    ask(plan, kStorageDaemon, BuildBksVersionRequest);
    ask(plan, kManagementComponent, BuildOmwVersionRequest);
    // It shows what they hold at this moment.
    for (const char* file :
         {"/opt/velmora/zrpserv/sbin/zrpshell", "/opt/velmora/zrpserv/sbin/zrpcon",
          "/etc/velmora-release", "/opt/velmora"}) {
        snprintf(plan.files[plan.fileCount], sizeof *plan.files, "%s", file);
        plan.fileCount++;
    }
}

// Cells.

std::string without_end(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

void add_text(PlanText* texts, size_t size, int& count, Window window, int row, int column,
              const std::string& text) {
    // The up time covers a longer one.
    const std::string shown = window == kStrip ? text : without_end(text);
    if (shown.empty()) {
        return;
    }
    if (static_cast<size_t>(count) == size || shown.size() >= sizeof texts->text) {
        throw std::runtime_error("a screen is too large for the plan");
    }
    PlanText& place = texts[count++];
    place.window = window;
    place.row = static_cast<short>(row);
    place.column = static_cast<short>(column);
    memcpy(place.text, shown.c_str(), shown.size() + 1);
}

// The column where a row's value begins, or that after the row when it has none.
int value_column(const TerminalScreen& screen, int row, char mark) {
    const auto text = [&](int column) { return screen.cell(row, column).text; };
    int column = kInside;
    const int end = kInside + kColumnsInside;
    if (mark != '\0') {
        while (column < end && text(column) != std::string(1, mark)) {
            column++;
        }
        column++;
    }
    while (column < end && text(column) == " ") {
        column++;
    }
    return std::min(column, end);
}

struct InnerRow {
    Window window;
    int top; // of the window
    int row; // on the terminal
    char mark;
};

// The rows inside the windows.
std::vector<InnerRow> rows_of(const Scene& scene) {
    std::vector<InnerRow> rows = {{kStrip, kStripRow, kStripRow + 1, ':'}};
    const int dialogEnd = kMainRow + scene.dialogHeight;
    for (int row = kMainRow + 1; row < kMainRow + kMainHeight - 1; row++) {
        if (row != dialogEnd - 1) { // its frame
            rows.push_back({row < dialogEnd ? kDialog : kMain, kMainRow, row, scene.mark});
        }
    }
    return rows;
}

// While a dialog is open, passes update the strip alone.
bool has_value(const Scene& scene, const InnerRow& row) {
    return row.window == kStrip || scene.dialogHeight == 0;
}

void record_labels(const Scene& scene, const TerminalScreen& screen, Plan& plan) {
    const auto add = [&](Window window, int row, int column, const std::string& text) {
        add_text(plan.labels, std::size(plan.labels), plan.labelCount, window, row, column, text);
    };
    for (int row = 0; row < kMenuLines; row++) {
        add(kTerminal, row, 0, screen.text_at(row, 0));
    }
    for (const InnerRow& row : rows_of(scene)) {
        const int end = has_value(scene, row) ? value_column(screen, row.row, row.mark)
                                              : kInside + kColumnsInside;
        add(row.window, row.row - row.top, 1, screen.text_at(row.row, kInside, end - kInside));
    }
}

void record_cursor(const Scene& scene, const TerminalScreen& screen, Plan& plan) {
    const harness::Cursor cursor = screen.cursor();
    plan.cursorWindow = cursor.visible ? scene.dialogHeight > 0 ? kDialog : kMain : -1;
    plan.cursorRow = cursor.row - kMainRow;
    plan.cursorColumn = cursor.column - kWindowColumn;
}

} // namespace

Plan plan_of(const Scene& scene, const TerminalScreen& screen, const Rows& rows) {
    Plan plan = {};
    plan.windows[kStrip] = {kStripHeight, kStripRow};
    plan.windows[kMain] = {kMainHeight, kMainRow};
    plan.windows[kDialog] = {static_cast<short>(scene.dialogHeight), kMainRow};
    plan.windowCount = scene.dialogHeight > 0 ? kDialog + 1 : kMain + 1;
    ask_statistics(plan, rows); // for the strip
    scene.ask(plan, rows);
    record_labels(scene, screen, plan);
    record_cursor(scene, screen, plan);
    return plan;
}

void record_values(const Scene& scene, const TerminalScreen& screen, int pass, Plan& plan) {
    if (pass >= kMaxScreens) {
        throw std::runtime_error("more passes than the plan has room for");
    }
    plan.screenCount = pass + 1;
    for (const InnerRow& row : rows_of(scene)) {
        if (!has_value(scene, row)) {
            continue;
        }
        const int column = value_column(screen, row.row, row.mark);
        add_text(plan.values[pass], std::size(plan.values[pass]), plan.valueCount[pass], row.window,
                 row.row - row.top, column - kWindowColumn,
                 screen.text_at(row.row, column, kInside + kColumnsInside - column));
    }
}

// Volume 0 is mounted in every world.
const std::vector<Scene> kScenes = {
    {"General", Key::kF2, "", "fileLockCount: ", '\0', 0, ask_statistics},
    {"Volume", Key::kF3, "0\r", "trustee count: ", ':', 0, ask_volume},
    {"Connection", Key::kF4, "3\r", "Open files: ", ':', 0, ask_connection},
    {"Diagnostics", Key::kF5, "3\r", "ipcListener errors: ", ':', 0, ask_diagnostics},
    {"Parameters", Key::kF6, "", "LOG_LEVEL = W", '=', 0, ask_parameters},
    {"Version", Key::kF7, "", "[zrptop]", '\0', 0, ask_versions},
    {"Volume dialog", Key::kF3, "", "Enter volume number", '\0', 13, ask_nothing},
    {"Connection dialog", Key::kF4, "", "Enter connection number", '\0', 15, ask_nothing},
    {"Diagnostics dialog", Key::kF5, "", "Enter selection", '\0', 14, ask_nothing},
};

} // namespace zrp::bench
