#include "screens/connection.h"

#include <cinttypes>
#include <climits>
#include <cstring>

#include "common/requests/connections.h"
#include "common/result.h"
#include "core/input.h"
#include "core/monitor.h"
#include "core/window.h"
#include "screens/dialog.h"
#include "screens/labels.h"
#include "screens/reply_notes.h"

namespace zrp {

int selectedConnection = kNoConnection;
ConnectionEntry connectionPage[kConnectionsPerPage];

namespace {

constexpr const char* kNumberDialogTag = "SelectConnectionNumber";

constexpr int kNumberDialogHeight = 15;
constexpr int kListRow = 1;
constexpr int kListColumn = 3;
constexpr DialogPrompt kNumberPrompt = {
    kNumberDialogTag, 12, "Enter connection number [ q (quit) + (next page) - (top)] ? "};

constexpr const char* kNotLoggedIn = "NOT LOGGED IN"; // the name of a station without a user

constexpr int kTitleValueColumn = 18;
constexpr int kConnectionColumn = 26;

enum ConnectionRow : int {
    kLoginTimeRow = 2,
    kNetworkAddressRow,
    kBytesReadRow,
    kBytesWrittenRow,
    kOpenFilesRow,
};

constexpr Label kConnectionLabels[] = {
    {kLoginTimeRow, "     Login time:"}, {kNetworkAddressRow, "Network address:"},
    {kBytesReadRow, "     bytes Read:"}, {kBytesWrittenRow, "  bytes Written:"},
    {kOpenFilesRow, "     Open files:"},
};

// Compatibility: the details of a connection are shown if any of these status bits is set. What
// each of them means is not known.
constexpr uint32_t kAnyDetailsStatus = 0x200 | 0x20 | 0x1;

// The start of a page; the page after the last one is the first.
int wrapped_page_start(int startIndex) {
    return startIndex == kNoConnection ? 0 : startIndex;
}

bool is_logged_in(const ConnectionEntry& entry) {
    return strcmp(entry.name, kNotLoggedIn) != 0;
}

struct PageRequest {
    int startIndex;
    int count;
    int nextStart;
};

int fetch_page(void* request) {
    auto* page = static_cast<PageRequest*>(request);
    return fetchConnectionPage(page->startIndex, &page->count, &page->nextStart);
}

// Draws the page that starts at a station. Returns the result of fetchConnectionPage; on failure
// the window is unchanged.
int displayConnectionPage(WINDOW* window, int startIndex, int* nextStart) {
    PageRequest page = {startIndex, 0, kNoConnection};
    const int rc = run_aside(fetch_page, &page);
    *nextStart = page.nextStart;
    if (rc != kOk) {
        return rc;
    }
    clear_dialog(window);
    int row = kListRow;
    for (const ConnectionEntry* entry = connectionPage; entry < connectionPage + page.count;
         entry++) {
        if (is_logged_in(*entry)) {
            print_at(window, row++, kListColumn, "%d. %s", entry->stationNumber, entry->name);
        }
    }
    refresh_window(window);
    return kOk;
}

enum class Answer { kPage, kQuit, kChosen };

// What a typed line requests. For Answer::kPage, *pageStart is the start of that page.
Answer act_on_line(const char* line, int nextStart, int* pageStart) {
    trace("%s: normal string = %s\n", kNumberDialogTag, line);
    if (*line == '-') {
        *pageStart = 0;
        return Answer::kPage;
    }
    if (*line == '+') {
        *pageStart = wrapped_page_start(nextStart);
        return Answer::kPage;
    }
    if (is_quit(line)) {
        return Answer::kQuit;
    }
    selectedConnection = typed_number(line);
    return Answer::kChosen;
}

// Returns when a connection is selected, the user quits or a page cannot be fetched. Once the
// program is to end, both the line editor and the fetch fail, so the loop ends.
void select_connection(WINDOW* window, int* fkeyHit, int* fkey) {
    int pageStart = 0;
    int nextStart = kNoConnection;
    Answer answer = Answer::kPage;
    while (answer == Answer::kPage && displayConnectionPage(window, pageStart, &nextStart) == kOk) {
        DialogInput line;
        if (ask_user(window, kNumberPrompt, line, fkeyHit, fkey) != kOk) {
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
    print_at(window, kLoginTimeRow, kConnectionColumn, "%s", information.entry.loginTime);
    print_at(window, kNetworkAddressRow, kConnectionColumn, "%s", information.networkAddress);
    print_at(window, kBytesReadRow, kConnectionColumn, "%" PRIu64, entry.bytesRead);
    print_at(window, kBytesWrittenRow, kConnectionColumn, "%" PRIu64, entry.bytesWritten);
    print_at(window, kOpenFilesRow, kConnectionColumn, "%" PRIu32, information.openFilesCount);
}

} // namespace

int fetchConnectionPage(int startIndex, int* count, int* nextStart) {
    *nextStart = kNoConnection;
    const int rc = QueryConnectionPage(wrapped_page_start(startIndex), connectionPage, count);
    note_result(DaemonId::kMain, rc);
    if (*count == kConnectionsPerPage) {
        const int last = connectionPage[kConnectionsPerPage - 1].stationNumber;
        *nextStart = last == INT_MAX ? kNoConnection : last + 1;
    }
    return rc;
}

int fetchConnectionEntry(int station, ConnectionEntry* entry) {
    int count = 0;
    int rc = QueryConnectionPage(station, {entry, 1}, &count);
    if (rc == kOk && count == 0) {
        rc = kInvalid;
    }
    note_result(DaemonId::kMain, rc);
    return rc;
}

int SelectConnectionNumber(int* fkeyHit, int* fkey) {
    selectedConnection = kNoConnection;
    *fkeyHit = 0;
    const DialogWindow window(kNumberDialogTag, kNumberDialogHeight);
    if (window.get() == nullptr) {
        return kInvalid;
    }
    select_connection(window.get(), fkeyHit, fkey);
    return selectedConnection == kNoConnection ? kRange : kOk;
}

int drawConnectionLabels(WINDOW* window) {
    return draw_labels(window, "Connection:", kConnectionLabels);
}

int updateConnectionWindow(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    ConnectionInformationPtr information;
    int version = kConnectionInformationVersion;
    int rc = GetConnectionInformation(selectedConnection, &version, &information);
    note_result(DaemonId::kMain, rc);
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
    if ((information->status & kAnyDetailsStatus) != 0) {
        draw_details(window, *information, entry);
    }
    refresh_window(window);
    return kOk;
}

} // namespace zrp
