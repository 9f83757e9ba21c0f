#include "screens/diagnostics.h"

#include <utility>

#include "common/engine/query.h"
#include "common/requests/diag_groups.h"
#include "common/requests/diagnostics.h"
#include "common/result.h"
#include "core/monitor.h"
#include "core/window.h"
#include "screens/diag_counters.h"
#include "screens/dialog.h"
#include "screens/labels.h"
#include "screens/reply_notes.h"

namespace zrp {

int32_t currentDiagType = kNoDiagType;
int32_t diagValueColumn = 1;

namespace {

constexpr int kGroupLabelColumn = 1;
constexpr int kColumnLeftOfValues = 38;

// Compatibility: this number is of no group and shows four colons.
constexpr int32_t kFourColonsType = 9;
constexpr int kFirstColonRow = 1;
constexpr int kLastColonRow = 4;

constexpr const char* kGroupDialogTag = "SelectDiagnosticsType";
constexpr int kGroupDialogHeight = 14;
constexpr int kMenuFirstRow = 2;
constexpr int kMenuColumn = 10;
constexpr DialogPrompt kGroupPrompt = {kGroupDialogTag, 11, "Enter selection ? "};
constexpr int32_t kMaxDiagType = 18;

constexpr const char* kGroupLines[] = {
    "1 - Directory Cache             11 zrp2bks Manage I/F",
    "2 - Communications              12 zrp2bks Requests",
    "3 - IPC                         13 zrp2bks IPC",
    "4 - Error counters              14 zrp2bks KVQ events",
    "5 - Trustees                    15 zrp2bks Volumes",
    "6 - BKS Events                  16 zrp2bks User/Directory quotas",
    "7 - Deleted files               17 zrp2bks Deleted files",
    "8 - User/Directory quotas       18 zrp2bks Trustees",
};

// Where a group's counters come from.
struct Source {
    Peer peer;
    DaemonId daemon;
    char* (*build)(uint32_t* length, int level, int resetAll);
    int (*scan)(char* reply, int replyLength, int* cursor, DiagnosticName& name, int32_t* value);
    bool isWrapped; // the document travels inside a binary message
    const std::unique_ptr<DiagHashTable>& table;
    int exchangeFailure; // the result if the exchange fails; kOk: the transport's code
};

// The group whose labels the window shows. Refresh thread only.
int32_t labelledType = kNoDiagType;

// Compatibility: a failed exchange gives kInvalid for the main daemon only.
constexpr Source kServerSource = {
    kMainDaemon,     DaemonId::kMain, BuildDiagnosticsRequest, ScanDiagnosticsReply, false,
    serverDiagTable, kInvalid};
constexpr Source kBksSource = {kStorageDiagnostics,
                               DaemonId::kStorage,
                               BuildZrp2bksDiagnosticRequest,
                               ScanZrp2bksDiagnosticReply,
                               true,
                               bksDiagTable,
                               kOk};

const Source& source_of(int32_t type) {
    return type < kFirstBksGroup ? kServerSource : kBksSource;
}

HeapText build_message(const Source& source, uint32_t* length) {
    HeapText document(source.build(length, kDiagnosticsLevel, 0));
    if (document == nullptr || !source.isWrapped) {
        return document;
    }
    return HeapText(WrapDiagnosticRequest(document.get(), *length, length));
}

int fetch_counters(const Source& source, Reply* reply) {
    uint32_t length = 0;
    HeapText request = build_message(source, &length);
    if (request == nullptr) {
        return kNoMemory;
    }
    const int rc =
        send_query({.peer = source.peer, .checksReply = false}, std::move(request), length, reply);
    return rc != kOk && source.exchangeFailure != kOk ? source.exchangeFailure : rc;
}

// Counters that are not in the reply keep their values.
void store_counters(const Source& source, const Reply& reply) {
    int cursor = 0;
    DiagnosticName name;
    int32_t value = 0;
    while (source.scan(reply.text.get(), reply.length, &cursor, name, &value) == kOk) {
        DiagCounter* counter = hashtable_lookup(source.table.get(), name);
        if (counter == nullptr) {
            trace("find %s --- NOT FOUND\n", name);
            continue;
        }
        counter->value = value;
        trace("find %s --- value set = %d\n", name, value);
    }
}

void draw_values(WINDOW* window, const Source& source, const DiagGroup& group) {
    int row = kFirstDiagRow;
    for (const DiagRow* shown = group.rows; shown->label != nullptr; shown++) {
        const DiagCounter* counter = hashtable_lookup(source.table.get(), shown->key);
        print_at(window, row++, diagValueColumn + 1, "%d", counter == nullptr ? 0 : counter->value);
    }
}

void draw_group_labels(WINDOW* window, const DiagGroup& group) {
    print_at(window, kTitleRow, kTitleColumn, "%s", group.title);
    int row = kFirstDiagRow;
    for (const DiagRow* shown = group.rows; shown->label != nullptr; shown++) {
        print_at(window, row++, kGroupLabelColumn, "%*s", shown->labelWidth, shown->label);
    }
}

void draw_colons(WINDOW* window) {
    for (int row = kFirstColonRow; row <= kLastColonRow; row++) {
        print_at(window, row, kGroupLabelColumn, ":");
    }
}

// A number that the dialog rejects takes effect without a switch of screens, so the window may
// still show the labels of the group before it.
void replace_outdated_labels(WINDOW* window) {
    if (labelledType != kNoDiagType && labelledType != currentDiagType) {
        const CursesLock lock;
        werase(window);
        drawDiagnosticsLabels(window);
    }
}

void draw_menu(WINDOW* window) {
    print_at(window, kTitleRow, kTitleColumn, "View Diagnostics");
    int row = kMenuFirstRow;
    for (const char* line : kGroupLines) {
        print_at(window, row++, kMenuColumn, "%s", line);
    }
}

} // namespace

int SelectDiagnosticsType(int* fkeyHit, int* fkey) {
    const DialogWindow dialog(kGroupDialogTag, kGroupDialogHeight);
    if (dialog.get() == nullptr) {
        return kInvalid;
    }
    draw_menu(dialog.get());
    DialogInput input;
    const int rc = ask_user(dialog.get(), kGroupPrompt, input, fkeyHit, fkey);
    if (rc != kOk || *fkeyHit != 0) {
        return rc;
    }
    if (is_quit(input)) {
        return kInvalid;
    }
    currentDiagType = typed_number(input);
    return currentDiagType <= kMaxDiagType ? kOk : kInvalid;
}

int drawDiagnosticsLabels(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    const CursesLock lock;
    draw_frame(window);
    diagValueColumn = kColumnLeftOfValues;
    labelledType = currentDiagType;
    const DiagGroup* group = find_diag_group(currentDiagType);
    if (group != nullptr) {
        draw_group_labels(window, *group);
    } else if (currentDiagType == kFourColonsType) {
        draw_colons(window);
    }
    refresh_window(window);
    return kOk;
}

int updateDiagnosticsWindow(WINDOW* window) {
    if (currentDiagType == kNoDiagType) {
        return kOk;
    }
    if (window == nullptr) {
        return kRange;
    }
    replace_outdated_labels(window);
    const Source& source = source_of(currentDiagType);
    Reply reply;
    const int rc = fetch_counters(source, &reply);
    if (rc != kOk || reply.length == 0) {
        note_result(source.daemon, rc == kOk ? int{kInvalid} : rc);
        return rc;
    }
    store_counters(source, reply);
    note_broken_document(source.daemon, reply);
    const CursesLock lock;
    const DiagGroup* group = find_diag_group(currentDiagType);
    if (group != nullptr) {
        draw_values(window, source, *group);
    }
    refresh_window(window);
    return kOk;
}

} // namespace zrp
