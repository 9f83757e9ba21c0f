#include "screens/connection.h"

#include <cinttypes>
#include <climits>
#include <cstring>

#include "common/requests/connections.h"
#include "common/result.h"
#include "core/monitor.h"
#include "core/window.h"
#include "screens/dialog.h"

namespace zrp {

int selectedConnection = kNoConnection;
ConnectionEntry connectionPage[kConnectionsOfPage];

namespace {

constexpr const char* kTraceTag = "SelectConnectionNumber";

constexpr int kDialogHeight = 15;
constexpr int kListRow = 1;
constexpr int kListColumn = 3;
constexpr DialogPrompt kPrompt = {kTraceTag, 12,
                                  "Enter connection number [ q (quit) + (next page) - (top)] ? "};

constexpr const char* kNotLoggedIn = "NOT LOGGED IN"; // the name of a station without a user

constexpr int kTitleRow = 1;
constexpr int kTitleColumn = 5;
constexpr int kTitleValueColumn = 18;
constexpr int kLabelColumn = 8;
constexpr int kValueColumn = 26;

enum Row : int {
    kLoginTimeRow = 2,
    kNetworkAddressRow,
    kBytesReadRow,
    kBytesWrittenRow,
    kOpenFilesRow,
};

struct Label {
    int row;
    int column;
    const char* text;
};

constexpr Label kLabels[] = {
    {kTitleRow, kTitleColumn, "Connection:"},
    {kLoginTimeRow, kLabelColumn, "     Login time:"},
    {kNetworkAddressRow, kLabelColumn, "Network address:"},
    {kBytesReadRow, kLabelColumn, "     bytes Read:"},
    {kBytesWrittenRow, kLabelColumn, "  bytes Written:"},
    {kOpenFilesRow, kLabelColumn, "     Open files:"},
};

// Any of these status bits says that there is more to show than a name.
constexpr uint32_t kDetailedStatus = 0x221;

// Where there is no further page, the list starts again.
int or_top(int startIndex) {
    return startIndex == kNoConnection ? 0 : startIndex;
}

bool is_logged_in(const ConnectionEntry& entry) {
    return strcmp(entry.name, kNotLoggedIn) != 0;
}

// Draws the page that starts at a station. Returns what fetchConnectionPage does; on failure the
// window is left alone.
int displayConnectionPage(WINDOW* window, int startIndex, int* nextStart) {
    int count = 0;
    const int rc = fetchConnectionPage(startIndex, &count, nextStart);
    if (rc != kOk) {
        return rc;
    }
    clear_dialog(window);
    int row = kListRow;
    for (const ConnectionEntry* entry = connectionPage; entry < connectionPage + count; entry++) {
        if (is_logged_in(*entry)) {
            print_at(window, row++, kListColumn, "%d. %s", entry->stationNumber, entry->name);
        }
    }
    refresh_window(window);
    return kOk;
}

enum class Answer { kPage, kQuit, kChosen };

// What a typed line asks for. Another page starts at *pageStart.
Answer act_on_line(const char* line, int nextStart, int* pageStart) {
    trace("%s: normal string = %s\n", kTraceTag, line);
    if (*line == '-') {
        *pageStart = 0;
        return Answer::kPage;
    }
    if (*line == '+') {
        *pageStart = or_top(nextStart);
        return Answer::kPage;
    }
    if (is_quit(line)) {
        return Answer::kQuit;
    }
    selectedConnection = typed_number(line);
    return Answer::kChosen;
}

// Ends with a selected connection, with none when the user quits or a page cannot be fetched. Once
// the program is to end, both the line editor and the fetch fail.
void select_connection(WINDOW* window, int* fkeyHit, int* fkey) {
    int pageStart = 0;
    int nextStart = kNoConnection;
    Answer answer = Answer::kPage;
    while (answer == Answer::kPage && displayConnectionPage(window, pageStart, &nextStart) == kOk) {
        DialogInput line;
        if (ask_user(window, kPrompt, line, fkeyHit, fkey) != kOk) {
            continue;
        }
        if (*fkeyHit != 0) {
            selectedConnection = 0;
            return;
        }
        answer = act_on_line(line, nextStart, &pageStart);
    }
}

void draw_details(WINDOW* window, const ConnectionInformation& information,
                  const ConnectionEntry& entry) {
    print_at(window, kLoginTimeRow, kValueColumn, "%s", information.entry.loginTime);
    print_at(window, kNetworkAddressRow, kValueColumn, "%s", information.networkAddress);
    print_at(window, kBytesReadRow, kValueColumn, "%" PRIu64, entry.bytesRead);
    print_at(window, kBytesWrittenRow, kValueColumn, "%" PRIu64, entry.bytesWritten);
    print_at(window, kOpenFilesRow, kValueColumn, "%" PRIu32, information.openFilesCount);
}

} // namespace

int fetchConnectionPage(int startIndex, int* count, int* nextStart) {
    *nextStart = kNoConnection;
    const int rc = QueryConnections(or_top(startIndex), connectionPage, count);
    if (*count == kConnectionsOfPage) {
        const int last = connectionPage[kConnectionsOfPage - 1].stationNumber;
        *nextStart = last == INT_MAX ? kNoConnection : last + 1;
    }
    return rc;
}

int fetchConnectionEntry(int station, ConnectionEntry* entry) {
    int count = 0;
    const int rc = QueryConnections(station, {entry, 1}, &count);
    if (rc == kOk && count == 0) {
        return kInvalid;
    }
    return rc;
}

int SelectConnectionNumber(int* fkeyHit, int* fkey) {
    selectedConnection = kNoConnection;
    *fkeyHit = 0;
    const DialogWindow window(kTraceTag, kDialogHeight);
    if (window.get() == nullptr) {
        return kInvalid;
    }
    select_connection(window.get(), fkeyHit, fkey);
    return selectedConnection == kNoConnection ? kRange : kOk;
}

int drawConnectionLabels(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    draw_frame(window);
    for (const Label& label : kLabels) {
        print_at(window, label.row, label.column, "%s", label.text);
    }
    refresh_window(window);
    return kOk;
}

int updateConnectionWindow(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    ConnectionInformationPtr information;
    int version = kConnectionInformationVersion;
    int rc = GetConnectionInformation(selectedConnection, &version, &information);
    if (rc != kOk) {
        return rc;
    }
    ConnectionEntry entry;
    rc = fetchConnectionEntry(selectedConnection, &entry);
    if (rc != kOk) {
        return rc;
    }
    print_at(window, kTitleRow, kTitleValueColumn, "(%d) %s", selectedConnection,
             information->entry.name);
    refresh_window(window);
    if ((information->status & kDetailedStatus) != 0) {
        draw_details(window, *information, entry);
    }
    refresh_window(window);
    return kOk;
}

} // namespace zrp
