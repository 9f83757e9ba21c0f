#include "screens/version.h"

#include <cstring>
#include <iterator>
#include <sys/stat.h>

#include "common/bounded_copy.h"
#include "common/requests/component_versions.h"
#include "common/result.h"
#include "core/window.h"
#include "screens/labels.h"
#include "screens/reply_notes.h"
#include "screens/version_files.h"

namespace zrp {
namespace {

// The version line that a search of this program's file finds. The text after the marker is shown.
constexpr char kOwnVersionLine[] = "VeRsIoN = 2026-04-22_10:36:02_i386build22-.2048";

constexpr int kFirstVersionRow = 2;
constexpr int kVersionColumn = 5;
constexpr int kIndentedColumn = 10;
constexpr int kLabelWidth = 14;

template <DaemonId daemon, int (*query)(VersionText& text)>
int ask(VersionText& text) {
    const int rc = query(text);
    note_result(daemon, rc);
    return rc;
}

int get_own_version(VersionText& text) {
    copy_cut(text, kOwnVersionLine + version_markers().component.length);
    return kOk;
}

struct ComponentRow {
    const char* label;
    int (*query)(VersionText& text) = nullptr; // null: no daemon answers for it
    const char* file = nullptr;                // searched if the query fails
    const char* fallbackFile = nullptr;        // searched if the file does not exist
    VersionMarker VersionMarkers::*marker = &VersionMarkers::component;
    int emptyRowsAfter = 0; // only if the component has a version
};

constexpr ComponentRow kComponents[] = {
    {"[libzrpengine]", (ask<DaemonId::kMain, getServerVersion>),
     "/usr/lib/pqs-modules/libzrpengine.so", "/opt/velmora/Dirkeep/lib/pqs-modules/libzrpengine.so",
     &VersionMarkers::engine},
    {"[zrp2bks]", (ask<DaemonId::kStorage, getBksVersion>), "/opt/velmora/zrpserv/sbin/zrp2bks"},
    {"[libomw2zrp]", (ask<DaemonId::kManagement, getOmwVersion>), "/opt/velmora/lib/libomw2zrp.so"},
    {"[zrptop]", get_own_version},
    {.label = "[zrpshell]", .file = "/opt/velmora/zrpserv/sbin/zrpshell"},
    {.label = "[zrpcon]", .file = "/opt/velmora/zrpserv/sbin/zrpcon", .emptyRowsAfter = 1},
};

// Refresh thread only.
VersionSearch searches[std::size(kComponents)];
PlatformAnswer platform;

int probe_file(const ComponentRow& component, VersionText& text) {
    if (component.file == nullptr) {
        return kNotFound;
    }
    struct stat64 status = {};
    const bool useFallback =
        component.fallbackFile != nullptr && stat64(component.file, &status) != 0;
    return probe_changed_file(&searches[&component - kComponents],
                              useFallback ? component.fallbackFile : component.file,
                              version_markers().*component.marker, text);
}

void drop_line_feed(VersionText& text) {
    const size_t length = strlen(text);
    if (length > 0 && text[length - 1] == '\n') {
        text[length - 1] = '\0';
    }
}

// Returns false without a version. An empty answer is none, but its daemon has answered: its file
// is not searched.
bool find_version(const ComponentRow& component, VersionText& text) {
    if ((component.query == nullptr || component.query(text) != kOk) &&
        probe_file(component, text) != kOk) {
        return false;
    }
    drop_line_feed(text);
    return text[0] != '\0';
}

// These functions draw from the given row on and return the row after the last one drawn.

int draw_components(WINDOW* window, int row, VersionText& text) {
    for (const ComponentRow& component : kComponents) {
        if (find_version(component, text)) {
            print_at(window, row, kVersionColumn, "%*s %s", kLabelWidth, component.label, text);
            row += 1 + component.emptyRowsAfter;
        }
    }
    return row;
}

int draw_release(WINDOW* window, int row, VersionText& text) {
    if (getReleaseLines(&text) != kOk) {
        return row;
    }
    print_at(window, row++, kVersionColumn, "HLX Version");
    for (const char* line = text; *line != '\0'; line += strlen(line) + 1) {
        print_at(window, row++, kIndentedColumn, "%s", line);
    }
    return row + 1;
}

void draw_platform(WINDOW* window, int row) {
    if (ask_platform(&platform) != kOk) {
        return;
    }
    drop_line_feed(platform.text);
    print_at(window, row, kVersionColumn, "Platform");
    print_at(window, row + 1, kIndentedColumn, "%s", platform.text);
}

} // namespace

int drawVersionFrame(WINDOW* window) {
    return draw_labels(window, nullptr, {});
}

int drawVersionWindow(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    VersionText text;
    print_at(window, kTitleRow, kTitleColumn, "ZRP Server Components");
    int row = draw_components(window, kFirstVersionRow, text);
    row = draw_release(window, row, text);
    draw_platform(window, row);
    refresh_window(window);
    return kOk;
}

} // namespace zrp
