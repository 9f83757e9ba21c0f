#include "screens/volume_dialog.h"

#include <algorithm>
#include <cinttypes>
#include <climits>

#include "common/bounded_copy.h"
#include "common/engine/query.h"
#include "common/requests/volume_list.h"
#include "common/result.h"
#include "common/xml_reader.h"
#include "core/input.h"
#include "core/monitor.h"
#include "core/window.h"
#include "screens/dialog.h"
#include "screens/reply_notes.h"
#include "screens/trace_text.h"

namespace zrp {

VolumeEntry volumeList[kVolumeSlots];
int32_t volumeCount;
int32_t selectedVolume;

namespace {

constexpr const char* kListTag = "do_list_volumes";
constexpr const char* kVolumeDialogTag = "SelectVolumeNumber";

constexpr int kVolumeDialogHeight = 13;
constexpr DialogPrompt kVolumePrompt = {kVolumeDialogTag, 9,
                                        "Enter volume number [ q (quit) +(next page) - (top)] ? "};

constexpr int kFirstNameRow = 1;
constexpr int kColumns[] = {1, 25, 50};
constexpr int kColumnCount = 3;
constexpr int kColumnWidths[] = {23, 24, INT_MAX}; // a blank less than up to the next column

// Compatibility: later pages have more rows, which go on below the prompt.
constexpr int kFirstPageRows = 8;
constexpr int kLaterPageRows = 16;

bool has_slot(int64_t number) {
    return number >= 0 && number < kVolumeSlots;
}

bool is_listed(int number) {
    return has_slot(number) && volumeList[number].name[0] != '\0';
}

void empty_volume_list() {
    std::fill(std::begin(volumeList), std::end(volumeList), VolumeEntry{-1, ""});
    volumeCount = 0;
}

// Stores a volume if it is mounted. Returns the number of volumes stored, 0 or 1.
int store_volume(const ListedName& name, uint32_t status, int64_t number) {
    if ((status & kVolumeMounted) == 0) {
        trace("%s: v=%s stat=%x id=%" PRId64 " NOT MOUNTED\n", kListTag, name, status, number);
        return 0;
    }
    if (!has_slot(number)) {
        return 0;
    }
    volumeList[number].id = static_cast<int32_t>(number);
    copy_cut(volumeList[number].name, name);
    return 1;
}

// Stores the mounted volumes of a page. Returns the number of volumes stored.
int store_page(const Reply& reply) {
    char* const text = reply.text.get();
    ListedName name;
    uint32_t status = 0;
    int64_t number = 0;
    int stored = 0;
    int offset = 0;
    for (;;) {
        trace("%s: ScanListVolumesReply() offset=%d ans=0x%p\n", kListTag, offset,
              static_cast<void*>(text));
        trace_text(kListTag, "reply+offset", text + offset, reply.length - offset);
        const int rc = ScanListedVolume(text, reply.length, &offset, &name, &status, &number);
        if (rc != kOk) {
            trace("%s: ScanListVolumesReply() rc=%d\n", kListTag, rc);
            trace("%s: ans=0x%p rc=%d\n", kListTag, static_cast<void*>(text), rc);
            return stored;
        }
        trace("%s: ScanListVolumesReply() v=%s stat=%x id=%" PRId64 "\n", kListTag, name, status,
              number);
        stored += store_volume(name, status, number);
    }
}

int request_page(int startIndex, Reply* reply) {
    trace("%s: BuildListVolumesRequest(%d)\n", kListTag, startIndex);
    uint32_t length = 0;
    HeapText request(BuildListVolumesRequest(startIndex, &length));
    if (request == nullptr) {
        trace("%s: BuildListVolumesRequest(%d) ENOMEM\n", kListTag, startIndex);
        return kNoMemory;
    }
    const int rc =
        send_query({.peer = kMainDaemon, .checksReply = false}, std::move(request), length, reply);
    if (rc != kOk) {
        trace("%s: QueryZRPServer() rc=%d\n", kListTag, rc);
    }
    return rc;
}

// Stores the volumes of a reply and adds their number to *stored. Returns the index of the next
// page, or 0 after the last page.
int take_page(const Reply& reply, int* stored) {
    const int rc = check_reply(reply, nullptr);
    if (rc != kOk) {
        trace("%s: CheckForError() rc=%d\n", kListTag, rc);
        return 0;
    }
    int nextIndex = 0;
    ScanStartIndex(reply.text.get(), reply.length, &nextIndex);
    trace("%s: startingIndex=%d szReply=%d\n", kListTag, nextIndex, reply.length);
    trace_text(kListTag, "reply", reply.text.get(), reply.length);
    *stored += store_page(reply);
    note_broken_document(DaemonId::kMain, reply);
    return nextIndex == kNoNextPage ? 0 : nextIndex;
}

void print_entry(WINDOW* window, int index, int number) {
    const int column = index % kColumnCount;
    print_in(window, kFirstNameRow + index / kColumnCount, kColumns[column], kColumnWidths[column],
             "%d. %s", number, volumeList[number].name);
}

// The page of the list that the dialog shows.
struct ShownPage {
    WINDOW* window;
    int start;    // first volume number
    int lastDraw; // the result of display_volume_list
};

void draw_page(ShownPage* page, int start, int rows) {
    page->start = start;
    page->lastDraw = display_volume_list(page->window, start, rows);
}

void go_to_top(ShownPage* page) {
    if (page->start != 0) {
        draw_page(page, 0, kLaterPageRows);
    }
}

// Compatibility: the next page begins at the volume number that equals the count drawn, not at the
// first volume that was not drawn. The page after the last one is the first.
void go_to_next_page(ShownPage* page) {
    if (page->lastDraw != 0) {
        draw_page(page, std::max(page->lastDraw, 0), kLaterPageRows);
    }
}

// True if the line is the number of a listed volume. Any number is stored in selectedVolume.
bool select_volume(const DialogInput& input) {
    selectedVolume = typed_number(input);
    if (!is_listed(selectedVolume)) {
        return false;
    }
    trace("%s: select %s id=%d\n", kVolumeDialogTag, volumeList[selectedVolume].name,
          selectedVolume);
    return true;
}

int choose_volume(WINDOW* window, int* fkeyHit, int* fkey) {
    ShownPage page = {window, 0, 0};
    draw_page(&page, 0, kFirstPageRows);
    *fkeyHit = 0;
    for (;;) {
        DialogInput input;
        const int rc = ask_user(window, kVolumePrompt, input, fkeyHit, fkey);
        if (rc != kOk || *fkeyHit != 0) {
            return rc;
        }
        trace("%s: wgetnstr() str=%s\n", kVolumeDialogTag, input);
        if (input[0] == '-') {
            go_to_top(&page);
        } else if (input[0] == '+') {
            go_to_next_page(&page);
        } else if (is_quit(input)) {
            return kInvalid;
        } else if (select_volume(input)) {
            return kOk;
        }
    }
}

} // namespace

const char* selected_volume_name() {
    return has_slot(selectedVolume) ? volumeList[selectedVolume].name : "";
}

int do_list_volumes() {
    empty_volume_list();
    int stored = 0;
    int startIndex = 0;
    for (int page = 0; page == 0 || (startIndex != 0 && page < kMaxVolumePages); page++) {
        Reply reply;
        const int rc = request_page(startIndex, &reply);
        if (rc != kOk) {
            empty_volume_list();
            return rc;
        }
        startIndex = take_page(reply, &stored);
    }
    volumeCount = stored;
    trace("%s: volumeCount=%d\n", kListTag, volumeCount);
    return kOk;
}

int display_volume_list(WINDOW* window, int startIndex, int rows) {
    clear_dialog(window);
    const int capacity = rows * kColumnCount;
    int drawn = 0;
    for (int number = std::max(startIndex, 0); number < kVolumeSlots; number++) {
        if (!is_listed(number)) {
            continue;
        }
        if (drawn == capacity) {
            refresh_window(window);
            return drawn;
        }
        print_entry(window, drawn, number);
        drawn++;
    }
    refresh_window(window);
    return -1;
}

int SelectVolumeNumber(int* fkeyHit, int* fkey) {
    trace("%s: call do_list_volumes()\n", kVolumeDialogTag);
    const int rc = run_aside([](void*) { return do_list_volumes(); }, nullptr);
    if (rc != kOk) {
        trace("%s: do_list_volumes() rc=%d\n", kVolumeDialogTag, rc);
        return rc;
    }
    if (volumeCount == 0) {
        trace("%s: do_list_volumes() volumeCount == 0\n", kVolumeDialogTag);
        return kInvalid;
    }
    const DialogWindow dialog(kVolumeDialogTag, kVolumeDialogHeight);
    if (dialog.get() == nullptr) {
        return kInvalid;
    }
    return choose_volume(dialog.get(), fkeyHit, fkey);
}

} // namespace zrp
