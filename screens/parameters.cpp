#include "screens/parameters.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common/ascii_case.h"
#include "common/result.h"
#include "core/window.h"
#include "screens/reply_notes.h"

namespace zrp {
namespace {

constexpr size_t kTableSize = 256;
constexpr int kShownItems = 18; // Compatibility: further items have no place, even in a tall window
constexpr int kFirstParameterRow = 1;
constexpr int kParameterColumn = 1;
constexpr int kNoRow = -1;
constexpr const char* kSeparator = " = ";

constexpr const char* kHiddenParameters[] = {
    "MAX_FILE_DESCRIPTOR_NUMBER",
    "ZRP_FILE_SERVER_NAME",
    "ALLOW_UTF8",
    "ALLOW_CIFS_MIXED_MODE_PATHS",
    "ENABLE_ZRP_RANGE_CHECKING",
    "ALLOW_CLEAR_TEXT_BINDERY_PASSWORDS",
    "SHADOW_VOLUME",
};

using ParameterItemPtr = std::unique_ptr<ParameterItem, FreeDeleter>;

// Filled from the front. Only the refresh thread uses it while that thread runs.
ParameterItemPtr parameterTable[kTableSize];

bool is_hidden(const char* name) {
    return std::any_of(std::begin(kHiddenParameters), std::end(kHiddenParameters),
                       [&](const char* hidden) { return equal_ignoring_case(hidden, name); });
}

// The next item of the reply that is not hidden; null, with the reason, if there is none.
ParameterItemPtr next_parameter(const Reply& reply, int* offset, int* reason) {
    for (;;) {
        ParameterItemPtr item(static_cast<ParameterItem*>(calloc(1, sizeof(ParameterItem))));
        *reason = item == nullptr
                      ? kNoMemory
                      : ScanSetReply(reply.text.get(), reply.length, offset, &item->name, nullptr);
        if (*reason != kOk) {
            return nullptr;
        }
        if (!is_hidden(item->name)) {
            item->row = kNoRow;
            return item;
        }
    }
}

void draw_label(WINDOW* window, int row, ParameterItem* item) {
    item->row = row;
    item->column = static_cast<int>(strlen(item->name) + strlen(kSeparator)) + kParameterColumn;
    print_at(window, row, kParameterColumn, "%s%s", item->name, kSeparator);
}

} // namespace

void clear_parameter_table() {
    for (ParameterItemPtr& item : parameterTable) {
        item.reset();
    }
}

int loadParameterList() {
    Reply reply;
    clear_parameter_table();
    int rc = QuerySettings(nullptr, &reply);
    if (rc != kOk) {
        return rc;
    }
    int offset = 0;
    for (ParameterItemPtr& slot : parameterTable) {
        slot = next_parameter(reply, &offset, &rc);
        if (slot == nullptr) {
            break;
        }
    }
    rc = parameterTable[0] != nullptr ? int{kOk} : rc;
    note_result(DaemonId::kMain, rc);
    return rc;
}

int fetchParameterValue(ParameterItem* item) {
    Reply reply;
    const int rc = QuerySettings(item->name, &reply);
    if (rc != kOk) {
        return rc;
    }
    int offset = 0;
    const int scanned =
        ScanSetReply(reply.text.get(), reply.length, &offset, nullptr, &item->value);
    note_result(DaemonId::kMain, scanned);
    return scanned;
}

int drawParameterLabels(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    draw_frame(window);
    loadParameterList();
    for (int i = 0; i < kShownItems && parameterTable[i] != nullptr; i++) {
        draw_label(window, kFirstParameterRow + i, parameterTable[i].get());
    }
    refresh_window(window);
    return kOk;
}

int updateParameterWindow(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    for (const ParameterItemPtr& item : parameterTable) {
        if (item != nullptr && item->row >= 0 && fetchParameterValue(item.get()) == kOk) {
            print_at(window, item->row, item->column, "%s", item->value);
        }
    }
    refresh_window(window);
    return kOk;
}

} // namespace zrp
